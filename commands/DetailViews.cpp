#include "OrvaneConnection.h"

#include "OrvaneInterface.h"
#include "XmlCommandReader.h"

#include <QStringBuilder>

#include <map>
#include <string>
#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// The detail views of one setDetailViews, by sub-split id. Of several with one id the last one holds.
struct DetailViews {
    std::map<int, SubsplitRect> rects;
    std::map<int, qint64> objectIds;
};

/// One repeated "subsplit" of the document. Its numbers have no hexadecimal form.
class SubsplitItem {
public:
    SubsplitItem(const XmlCommandReader& reader, int index)
        : reader(reader)
        , itemKey(u"subsplits/subsplit"_s)
    {
        if (index > 0)
            itemKey += QString::number(index);
    }

    /// Negative, also when there is none, after the last item.
    int id() const { return field(u"/id", u"-1"_s).toInt(); }
    qint64 objectId() const { return field(u"/objectid", u"0"_s).toLongLong(); }
    SubsplitRect rect() const
    {
        return {coordinate(u"/ltx"), coordinate(u"/lty"), coordinate(u"/rbx"), coordinate(u"/rby")};
    }

private:
    QString field(QStringView suffix, const QString& defaultValue) const
    {
        return reader.stringParameter(QString(itemKey % suffix), defaultValue);
    }
    float coordinate(QStringView suffix) const { return field(suffix, u"0"_s).toFloat(); }

    const XmlCommandReader& reader;
    QString itemKey;
};

/// Whether the product of the sides, in single precision, is positive: so also when both axes are reversed.
bool hasArea(const SubsplitRect& rect)
{
    const float area = (rect.rby - rect.lty) * (rect.rbx - rect.ltx);
    return area > 0;
}

DetailViews readDetailViews(const XmlCommandReader& reader)
{
    DetailViews views;
    for (int index = 0;; ++index) {
        const SubsplitItem item(reader, index);
        const int id = item.id();
        if (id < 0)
            return views;
        if (const qint64 objectId = item.objectId(); objectId != 0)
            views.objectIds[id] = objectId;
        else if (const SubsplitRect rect = item.rect(); hasArea(rect))
            views.rects[id] = rect;
    }
}

} // namespace

OrvaneConnection::Outcome OrvaneConnection::handleSetDetailViews(XmlCommandReader& reader)
{
    const int splitId = reader.intParameter(u"splitid", -1);
    DetailViews views = readDetailViews(reader);
    hostInterface->setDetailViews(splitId, std::move(views.rects), std::move(views.objectIds));
    return sendCommandAccepted(reader.commandName());
}

} // namespace OrvaneInterface
