#include "WallHost.h"

#include "WallReport.h"

#include <QDateTime>
#include <QStringList>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// A client may send any length; nothing on the wall has a longer name.
constexpr qsizetype LongestName = 200;
/// The part of a document that the activity list shows.
constexpr qsizetype LongestExcerpt = 160;

QString name(const std::string& text)
{
    return QString::fromStdString(text).left(LongestName);
}

QString quoted(const QString& text)
{
    return text.isEmpty() ? u"(none)"_s : text;
}

QString excerpt(const QString& document)
{
    const QString text = document.left(4 * LongestExcerpt).simplified();
    return text.size() <= LongestExcerpt ? text : text.left(LongestExcerpt) + QChar(0x2026);
}

QString timeText(qint64 time)
{
    const QDateTime moment = QDateTime::fromMSecsSinceEpoch(time).toUTC();
    return moment.isValid() ? moment.toString(u"yyyy-MM-dd HH:mm:ss"_s) : QString::number(time);
}

/// The parts of a call's arguments, with a dot between them.
QString listed(const QStringList& parts)
{
    return parts.join(u" \u00b7 "_s);
}

QStringList sourceParts(const CameraSource& source, int splitId, bool alarm)
{
    QStringList parts {quoted(source.recorder), u"camera %1"_s.arg(source.camera), u"split %1"_s.arg(splitId)};
    if (alarm)
        parts.append(u"ALARM"_s);
    return parts;
}

QStringList playbackParts(const PlaybackRequest& request)
{
    const int* id = std::get_if<int>(&request.track);
    QStringList parts {
        id != nullptr ? u"track %1"_s.arg(*id) : u"track %1"_s.arg(quoted(std::get<QString>(request.track)))};
    parts.append(request.time < 0 ? u"from the start"_s : u"from "_s + timeText(request.time));
    if (request.limitStart > 0)
        parts.append(u"not before "_s + timeText(request.limitStart));
    if (request.limitEnd > 0)
        parts.append(u"not after "_s + timeText(request.limitEnd));
    return parts;
}

QString rectText(const QRectF& rect)
{
    return u"(%1, %2) to (%3, %4)"_s.arg(rect.left()).arg(rect.top()).arg(rect.right()).arg(rect.bottom());
}

/// Keeps the corners as they are, even if they are reversed.
QRectF toQRectF(const OrvaneInterface::SubsplitRect& rect)
{
    const auto point = [](float x, float y) { return QPointF(static_cast<qreal>(x), static_cast<qreal>(y)); };
    return {point(rect.ltx, rect.lty), point(rect.rbx, rect.rby)};
}

QString viewsText(int splitId, const QMap<int, Inset>& views)
{
    QStringList parts {u"split %1"_s.arg(splitId)};
    if (views.isEmpty())
        parts.append(u"no views"_s);
    for (auto view = views.begin(); view != views.end(); ++view) {
        if (view->cutOut)
            parts.append(u"%1: %2"_s.arg(view.key()).arg(rectText(*view->cutOut)));
        if (view->objectId != 0)
            parts.append(u"%1: object %2"_s.arg(view.key()).arg(view->objectId));
    }
    return excerpt(listed(parts));
}

} // namespace

WallHost::WallHost(WallState& state, QObject* parent)
    : QObject(parent)
    , state(state)
{
}

bool WallHost::updateRecorderContents()
{
    Q_EMIT called(u"updateRecorderContents"_s, {});
    const bool started = state.startRefresh();
    Q_EMIT displayCalled(u"updateRecorderContents"_s);
    return started;
}

void WallHost::getRecorderList(std::vector<RecorderEntry>& recorders)
{
    for (const Recorder& recorder : state.recorders()) {
        RecorderEntry& entry = recorders.emplace_back();
        entry.name = recorder.name.toStdString();
        entry.ip = recorder.address.toStdString();
        entry.userName = recorder.userName.toStdString();
        entry.password = recorder.password.toStdString();
        entry.maxNumChannels = recorder.channels;
        for (const Track& track : recorder.tracks)
            entry.tracks.push_back(track.name.toStdString());
    }
    Q_EMIT called(u"getRecorderList"_s, u"%1 recorders"_s.arg(recorders.size()));
}

void WallHost::getPresetsList(std::vector<PresetEntry>& presets)
{
    for (const Preset& preset : state.presets())
        presets.emplace_back().name = preset.name.toStdString();
    Q_EMIT called(u"getPresetsList"_s, u"%1 presets"_s.arg(presets.size()));
}

void WallHost::showLive(std::string recorder, int camera, bool alarm, int& splitId)
{
    const CameraSource source {name(recorder), camera};
    Q_EMIT called(u"showLive"_s, listed(sourceParts(source, splitId, alarm)));
    splitId = state.showLive(source, alarm, splitId);
    Q_EMIT displayCalled(u"showLive"_s);
}

void WallHost::showLiveAtSubsplit(int splitId, int camera, int subsplitIndex)
{
    Q_EMIT called(u"showLiveAtSubsplit"_s,
        listed({u"camera %1"_s.arg(camera), u"split %1"_s.arg(splitId), u"sub-split %1"_s.arg(subsplitIndex)}));
    state.showLiveAtSubsplit(splitId, camera, subsplitIndex);
    Q_EMIT displayCalled(u"showLiveAtSubsplit"_s);
}

void WallHost::showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm,
    int& splitId, qint64 limitStart, qint64 limitEnd)
{
    showTrack(
        u"showTrackByName"_s, {{name(recorder), camera}, name(trackName), time, limitStart, limitEnd}, alarm, splitId);
}

void WallHost::showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
    qint64 limitStart, qint64 limitEnd)
{
    showTrack(u"showTrackById"_s, {{name(recorder), camera}, trackId, time, limitStart, limitEnd}, alarm, splitId);
}

void WallHost::showTrack(const QString& command, const PlaybackRequest& request, bool alarm, int& splitId)
{
    Q_EMIT called(command, listed(sourceParts(request.source, splitId, alarm) + playbackParts(request)));
    splitId = state.showPlayback(request, alarm, splitId);
    Q_EMIT displayCalled(command);
}

void WallHost::setPreset(std::string presetName)
{
    const QString preset = name(presetName);
    Q_EMIT called(u"setPreset"_s, quoted(preset));
    state.setPreset(preset);
    Q_EMIT displayCalled(u"setPreset"_s);
}

void WallHost::setSplitMode(int splitMode)
{
    Q_EMIT called(u"setSplitMode"_s, u"mode %1"_s.arg(splitMode));
    state.setSplitMode(splitMode);
    Q_EMIT displayCalled(u"setSplitMode"_s);
}

/// The wall has one window; every window id means it.
void WallHost::setSplitModeByName(int windowId, const std::string& commandDocument)
{
    const QString document = QString::fromStdString(commandDocument);
    Q_EMIT called(u"setSplitModeByName"_s, listed({u"window %1"_s.arg(windowId), excerpt(document)}));
    state.setLayoutByDocument(document);
    Q_EMIT displayCalled(u"setSplitModeByName"_s);
}

void WallHost::setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds)
{
    QMap<int, Inset> views;
    for (const auto& [id, rect] : rects)
        views[id].cutOut = toQRectF(rect);
    for (const auto& [id, objectId] : objectIds)
        views[id].objectId = objectId;
    Q_EMIT called(u"setDetailViews"_s, viewsText(splitId, views));
    state.setDetailViews(splitId, views);
    Q_EMIT displayCalled(u"setDetailViews"_s);
}

bool WallHost::getPertinentInfo(const std::string& commandDocument, std::string& answer)
{
    Q_EMIT called(u"getPertinentInfo"_s, excerpt(QString::fromStdString(commandDocument)));
    answer = wallReport(state, QDateTime::currentMSecsSinceEpoch()).toStdString();
    return true;
}
