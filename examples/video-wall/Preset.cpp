#include "Preset.h"

namespace {

/// The named layout, which the wall is known to have.
SplitLayout layoutNamed(const char* name)
{
    return SplitLayout::named(QString::fromLatin1(name)).value();
}

/// \a count cameras, taken from all recorders in turn.
QList<CameraSource> cameraRound(int count)
{
    const QStringList recorders {QStringLiteral("North gate"), QStringLiteral("Harbour basin"),
        QStringLiteral("Car park"), QStringLiteral("Main hall")};
    QList<CameraSource> sources;
    for (int index = 0; index < count; ++index)
        sources.append({recorders.at(index % 4), index / 4 + 1});
    return sources;
}

} // namespace

QList<Preset> storedPresets()
{
    const QString northGate = QStringLiteral("North gate");
    const QString carPark = QStringLiteral("Car park");
    const QString harbour = QStringLiteral("Harbour basin");
    const QString hall = QStringLiteral("Main hall");
    return {
        {QStringLiteral("Overview"), layoutNamed("nine"), cameraRound(9)},
        {QStringLiteral("Gates"), layoutNamed("four"), {{northGate, 1}, {northGate, 2}, {carPark, 1}, {harbour, 7}}},
        {QStringLiteral("Night"), layoutNamed("one-large-five-small"),
            {{harbour, 3}, {northGate, 3}, {carPark, 4}, {hall, 2}, {harbour, 12}, {northGate, 9}}},
        {QStringLiteral("All cameras"), layoutNamed("sixteen"), cameraRound(16)},
        {QStringLiteral("Empty wall"), layoutNamed("four"), {}},
    };
}
