#include "SplitLayout.h"

#include <QStringList>
#include <QXmlStreamReader>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

SplitLayout::SplitLayout(QString name, int gridSize, QList<QRect> cells)
    : layoutName(std::move(name))
    , gridSize(gridSize)
    , cells(std::move(cells))
{
}

SplitLayout SplitLayout::equalSplits(const QString& name, int gridSize)
{
    QList<QRect> cells;
    for (int row = 0; row < gridSize; ++row) {
        for (int column = 0; column < gridSize; ++column)
            cells.append(QRect(column, row, 1, 1));
    }
    return {name, gridSize, cells};
}

QList<SplitLayout> SplitLayout::all()
{
    const QRect unit(0, 0, 1, 1);
    const auto at = [unit](int column, int row) { return unit.translated(column, row); };
    return {
        equalSplits(u"one"_s, 1),
        equalSplits(u"four"_s, 2),
        equalSplits(u"nine"_s, 3),
        equalSplits(u"sixteen"_s, 4),
        {u"one-large-five-small"_s, 3, {{0, 0, 2, 2}, at(2, 0), at(2, 1), at(0, 2), at(1, 2), at(2, 2)}},
        {u"one-large-seven-small"_s, 4,
            {{0, 0, 3, 3}, at(3, 0), at(3, 1), at(3, 2), at(0, 3), at(1, 3), at(2, 3), at(3, 3)}},
        {u"two-large-eight-small"_s, 4,
            {{0, 0, 2, 2}, {2, 0, 2, 2}, at(0, 2), at(1, 2), at(2, 2), at(3, 2), at(0, 3), at(1, 3), at(2, 3),
                at(3, 3)}},
    };
}

std::optional<SplitLayout> SplitLayout::ofSplitMode(int splitMode)
{
    switch (splitMode) {
    case 1:
        return named(u"one"_s);
    case 4:
        return named(u"four"_s);
    case 9:
        return named(u"nine"_s);
    case 16:
        return named(u"sixteen"_s);
    default:
        return std::nullopt;
    }
}

std::optional<SplitLayout> SplitLayout::named(const QString& name)
{
    const QList<SplitLayout> layouts = all();
    const auto found = std::find_if(layouts.begin(), layouts.end(),
        [&name](const SplitLayout& layout) { return layout.layoutName.compare(name, Qt::CaseInsensitive) == 0; });
    if (found == layouts.end())
        return std::nullopt;
    return *found;
}

QStringList SplitLayout::names()
{
    QStringList names;
    for (const SplitLayout& layout : all())
        names.append(layout.layoutName);
    return names;
}

QRectF SplitLayout::splitRect(int splitId, const QRectF& area, qreal gap) const
{
    const QRect cell = cells.at(splitId);
    const qreal stepX = (area.width() + gap) / gridSize;
    const qreal stepY = (area.height() + gap) / gridSize;
    return {area.x() + cell.x() * stepX, area.y() + cell.y() * stepY, cell.width() * stepX - gap,
        cell.height() * stepY - gap};
}

LayoutDocument::LayoutDocument(const QString& document)
{
    QXmlStreamReader reader(document);
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        if (layoutName.isEmpty() && reader.name() == "layoutname"_L1)
            layoutName = reader.readElementText(QXmlStreamReader::SkipChildElements).simplified();
        else
            reader.skipCurrentElement();
    }
    while (!reader.atEnd())
        reader.readNext(); // an error after the root element also counts

    if (reader.hasError())
        problem = u"Unreadable document, line %1: %2"_s.arg(reader.lineNumber()).arg(reader.errorString());
    else if (layoutName.isEmpty())
        problem = u"The document contains no layout name"_s;
}

namespace {

/// The layout with this name, which must exist.
SplitLayout layoutNamed(const char* name)
{
    return SplitLayout::named(QString::fromLatin1(name)).value();
}

/// \a count cameras, taken from all recorders in turn.
QList<CameraSource> cameraRound(int count)
{
    const QStringList recorders {u"North gate"_s, u"Harbour basin"_s, u"Car park"_s, u"Main hall"_s};
    QList<CameraSource> sources;
    for (int index = 0; index < count; ++index)
        sources.append({recorders.at(index % 4), index / 4 + 1});
    return sources;
}

} // namespace

QList<Preset> storedPresets()
{
    const QString northGate = u"North gate"_s;
    const QString carPark = u"Car park"_s;
    const QString harbour = u"Harbour basin"_s;
    const QString hall = u"Main hall"_s;
    return {
        {u"Overview"_s, layoutNamed("nine"), cameraRound(9)},
        {u"Gates"_s, layoutNamed("four"), {{northGate, 1}, {northGate, 2}, {carPark, 1}, {harbour, 7}}},
        {u"Night"_s, layoutNamed("one-large-five-small"),
            {{harbour, 3}, {northGate, 3}, {carPark, 4}, {hall, 2}, {harbour, 12}, {northGate, 9}}},
        {u"All cameras"_s, layoutNamed("sixteen"), cameraRound(16)},
        {u"Empty wall"_s, layoutNamed("four"), {}},
    };
}
