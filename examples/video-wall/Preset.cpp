#include "Preset.h"

using namespace Qt::StringLiterals;

namespace {

/// The named layout, which the wall is known to have.
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
