#include "RecorderCatalogue.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QRandomGenerator>
#include <QTimeZone>

#include <algorithm>

namespace {

/// Every track is one day long; the first is a Monday.
Track dayTrack(int index)
{
    const QDate firstDay(2026, 11, 16);
    const QDateTime start = firstDay.addDays(index).startOfDay(QTimeZone::utc());
    const QString weekday = QLocale::c().dayName(start.date().dayOfWeek());
    const int week = index / 7;
    return {week == 0 ? weekday : weekday + QStringLiteral(", week %1").arg(week + 1), start.toMSecsSinceEpoch(),
        start.addDays(1).toMSecsSinceEpoch()};
}

} // namespace

RecorderCatalogue::RecorderCatalogue()
{
    add(QStringLiteral("North gate"), 16, 4);
    add(QStringLiteral("Car park"), 8, 3);
    add(QStringLiteral("Harbour basin"), 32, 6);
    add(QStringLiteral("Main hall"), 4, 2);
}

void RecorderCatalogue::add(const QString& name, int channels, int trackCount)
{
    Recorder recorder;
    recorder.name = name;
    recorder.address = QStringLiteral("192.0.2.%1").arg(10 + recorders.size());
    recorder.userName = QStringLiteral("viewer");
    recorder.password = QString::number(QRandomGenerator::system()->generate64(), 36);
    recorder.channels = channels;
    for (int index = 0; index < trackCount; ++index)
        recorder.tracks.append(dayTrack(index));
    recorders.append(recorder);
}

const Recorder* RecorderCatalogue::find(const QString& name) const
{
    const auto found = std::find_if(
        recorders.begin(), recorders.end(), [&name](const Recorder& recorder) { return recorder.name == name; });
    return found == recorders.end() ? nullptr : &*found;
}

CameraSource RecorderCatalogue::completed(const CameraSource& source) const
{
    return {
        source.recorder.isEmpty() ? recorders.first().name : source.recorder, source.camera == -1 ? 1 : source.camera};
}

QString RecorderCatalogue::faultOf(const CameraSource& source) const
{
    const Recorder* recorder = find(source.recorder);
    if (!recorder)
        return QStringLiteral("Unknown recorder");
    if (source.camera < 1 || source.camera > recorder->channels)
        return QStringLiteral("Cameras are 1 to %1").arg(recorder->channels);
    return {};
}

QString RecorderCatalogue::addFound()
{
    const QString newRecorder = QStringLiteral("Loading bay");
    if (!find(newRecorder)) {
        add(newRecorder, 6, 1);
        return QStringLiteral("New recorder: %1").arg(newRecorder);
    }
    auto shortest = std::min_element(recorders.begin(), recorders.end(),
        [](const Recorder& left, const Recorder& right) { return left.tracks.size() < right.tracks.size(); });
    shortest->tracks.append(dayTrack(static_cast<int>(shortest->tracks.size())));
    return QStringLiteral("New track of %1: %2").arg(shortest->name, shortest->tracks.last().name);
}
