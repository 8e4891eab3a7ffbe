#include "OrvaneConnection.h"

#include "OrvaneInterface.h"
#include "XmlCommandReader.h"

#include <map>
#include <string>
#include <utility>

namespace OrvaneInterface {

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
        , itemKey(QStringLiteral("subsplits/subsplit"))
    {
        if (index > 0)
            itemKey += QString::number(index);
    }

    /// Negative, also when there is none, after the last item.
    int id() const { return field(QLatin1String("/id"), QStringLiteral("-1")).toInt(); }
    qint64 objectId() const { return field(QLatin1String("/objectid"), QStringLiteral("0")).toLongLong(); }
    SubsplitRect rect() const
    {
        return {coordinate(QLatin1String("/ltx")), coordinate(QLatin1String("/lty")), coordinate(QLatin1String("/rbx")),
            coordinate(QLatin1String("/rby"))};
    }

private:
    QString field(QLatin1String suffix, const QString& defaultValue) const
    {
        return reader.stringParameter(itemKey + suffix, defaultValue);
    }
    float coordinate(QLatin1String suffix) const { return field(suffix, QStringLiteral("0")).toFloat(); }

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

void OrvaneConnection::handleSetPreset(XmlCommandReader& reader)
{
    hostInterface->setPreset(reader.utf8Parameter(QStringLiteral("presetname")));
    sendCommandAccepted(reader.commandName());
}

void OrvaneConnection::handleSetSplitMode(XmlCommandReader& reader)
{
    // Base 10 only, unlike intParameter(): a hexadecimal form is split mode 0.
    const int splitMode = reader.stringParameter(QStringLiteral("splitmode"), QStringLiteral("-1")).toInt();
    if (splitMode >= 0) {
        hostInterface->setSplitMode(splitMode);
    } else {
        const int windowId = reader.intParameter(QStringLiteral("windowid"), -1);
        hostInterface->setSplitModeByName(windowId, reader.documentText().toStdString());
    }
    sendCommandAccepted(reader.commandName());
}

void OrvaneConnection::handleSetDetailViews(XmlCommandReader& reader)
{
    const int splitId = reader.intParameter(QStringLiteral("splitid"), -1);
    DetailViews views = readDetailViews(reader);
    hostInterface->setDetailViews(splitId, std::move(views.rects), std::move(views.objectIds));
    sendCommandAccepted(reader.commandName());
}

} // namespace OrvaneInterface
