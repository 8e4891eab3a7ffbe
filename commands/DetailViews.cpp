#include "HostCall.h"
#include "OrvaneConnection.h"

#include "OrvaneInterface.h"
#include "XmlCommandReader.h"

#include <QStringBuilder>

#include <map>
#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// The detail views of one setDetailViews, by sub-split id. If an id is repeated, the last view wins.
struct DetailViews {
    std::map<int, SubsplitRect> rects;
    std::map<int, qint64> objectIds;
};

/// Whether the product of the sides, in single precision, is positive: even if both axes are reversed.
bool hasArea(const SubsplitRect& rect)
{
    return float {(rect.rby - rect.lty) * (rect.rbx - rect.ltx)} > 0;
}

/// Reads up to the first "subsplit" without an id or with a negative one. Numbers cannot be hexadecimal here.
DetailViews readDetailViews(const XmlCommandReader& reader)
{
    DetailViews views;
    for (int index = 0;; ++index) {
        const QString item = u"subsplits/subsplit"_s % (index > 0 ? QString::number(index) : QString());
        const auto field = [&](QStringView name, const QString& defaultValue) {
            return reader.stringParameter(QString(item % name), defaultValue);
        };
        const auto coordinate = [&](QStringView name) { return field(name, u"0"_s).toFloat(); };

        const int id = field(u"/id", u"-1"_s).toInt();
        if (id < 0)
            return views;
        if (const qint64 objectId = field(u"/objectid", u"0"_s).toLongLong(); objectId != 0)
            views.objectIds[id] = objectId;
        else if (const SubsplitRect rect {
                     coordinate(u"/ltx"), coordinate(u"/lty"), coordinate(u"/rbx"), coordinate(u"/rby")};
                 hasArea(rect))
            views.rects[id] = rect;
    }
}

} // namespace

OrvaneConnection::Result OrvaneConnection::handleSetDetailViews(XmlCommandReader& reader)
{
    const int splitId = reader.intParameter(u"splitid", -1);
    DetailViews views = readDetailViews(reader);
    HostCall(*this)->setDetailViews(splitId, std::move(views.rects), std::move(views.objectIds));
    return sendCommandAccepted(reader.commandName());
}

} // namespace OrvaneInterface
