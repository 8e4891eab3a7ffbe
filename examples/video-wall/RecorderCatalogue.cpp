#include "RecorderCatalogue.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QRandomGenerator>
#include <QTimeZone>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// Every track is one day long; the first is a Monday.
Track dayTrack(int index)
{
    const QDate firstDay(2026, 11, 16);
    const QDateTime start = firstDay.addDays(index).startOfDay(QTimeZone::utc());
    const QString weekday = QLocale::c().dayName(start.date().dayOfWeek());
    const int week = index / 7;
    return {week == 0 ? weekday : weekday + u", week %1"_s.arg(week + 1), start.toMSecsSinceEpoch(),
        start.addDays(1).toMSecsSinceEpoch()};
}

} // namespace

RecorderCatalogue::RecorderCatalogue()
{
    add(u"North gate"_s, 16, 4);
    add(u"Car park"_s, 8, 3);
    add(u"Harbour basin"_s, 32, 6);
    add(u"Main hall"_s, 4, 2);
}

void RecorderCatalogue::add(const QString& name, int channels, int trackCount)
{
    Recorder recorder;
    recorder.name = name;
    recorder.address = u"192.0.2.%1"_s.arg(10 + recorders.size());
    recorder.userName = u"viewer"_s;
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
        return u"Unknown recorder"_s;
    if (source.camera < 1 || source.camera > recorder->channels)
        return u"Cameras are 1 to %1"_s.arg(recorder->channels);
    return {};
}

QString RecorderCatalogue::addFound()
{
    const QString newRecorder = u"Loading bay"_s;
    if (!find(newRecorder)) {
        add(newRecorder, 6, 1);
        return u"New recorder: %1"_s.arg(newRecorder);
    }
    auto shortest = std::min_element(recorders.begin(), recorders.end(),
        [](const Recorder& left, const Recorder& right) { return left.tracks.size() < right.tracks.size(); });
    shortest->tracks.append(dayTrack(static_cast<int>(shortest->tracks.size())));
    return u"New track of %1: %2"_s.arg(shortest->name, shortest->tracks.last().name);
}
