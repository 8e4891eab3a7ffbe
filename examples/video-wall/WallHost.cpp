#include "WallHost.h"

#include "WallReport.h"

#include <QDateTime>
#include <QStringList>

#include <utility>

namespace {

/// A client may send any length; nothing on the wall has a longer name.
constexpr qsizetype LongestName = 200;
/// What the activity list shows of a document.
constexpr qsizetype LongestExcerpt = 160;

QString name(const std::string& text)
{
    return QString::fromStdString(text).left(LongestName);
}

QString quoted(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("(none)") : text;
}

QString excerpt(const QString& document)
{
    const QString text = document.left(4 * LongestExcerpt).simplified();
    return text.size() <= LongestExcerpt ? text : text.left(LongestExcerpt) + QChar(0x2026);
}

QString timeText(qint64 time)
{
    const QDateTime moment = QDateTime::fromMSecsSinceEpoch(time).toUTC();
    return moment.isValid() ? moment.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : QString::number(time);
}

/// The parts of a call's arguments, with a dot between them.
QString listed(const QStringList& parts)
{
    return parts.join(QStringLiteral(" \u00b7 "));
}

QStringList sourceParts(const CameraSource& source, int splitId, bool alarm)
{
    QStringList parts {quoted(source.recorder), QStringLiteral("camera %1").arg(source.camera),
        QStringLiteral("split %1").arg(splitId)};
    if (alarm)
        parts.append(QStringLiteral("ALARM"));
    return parts;
}

QStringList playbackParts(const PlaybackRequest& request)
{
    const int* id = std::get_if<int>(&request.track);
    QStringList parts {id != nullptr ? QStringLiteral("track %1").arg(*id)
                                     : QStringLiteral("track %1").arg(quoted(std::get<QString>(request.track)))};
    parts.append(
        request.time < 0 ? QStringLiteral("from the start") : QStringLiteral("from ") + timeText(request.time));
    if (request.limitStart > 0)
        parts.append(QStringLiteral("not before ") + timeText(request.limitStart));
    if (request.limitEnd > 0)
        parts.append(QStringLiteral("not after ") + timeText(request.limitEnd));
    return parts;
}

QString rectText(const QRectF& rect)
{
    return QStringLiteral("(%1, %2) to (%3, %4)").arg(rect.left()).arg(rect.top()).arg(rect.right()).arg(rect.bottom());
}

/// Keeps the corners as they are, also when they are reversed.
QRectF toQRectF(const OrvaneInterface::SubsplitRect& rect)
{
    const auto point = [](float x, float y) { return QPointF(static_cast<qreal>(x), static_cast<qreal>(y)); };
    return {point(rect.ltx, rect.lty), point(rect.rbx, rect.rby)};
}

QString viewsText(int splitId, const QMap<int, Inset>& views)
{
    QStringList parts {QStringLiteral("split %1").arg(splitId)};
    if (views.isEmpty())
        parts.append(QStringLiteral("no views"));
    for (auto view = views.begin(); view != views.end(); ++view) {
        if (view->cutOut)
            parts.append(QStringLiteral("%1: %2").arg(view.key()).arg(rectText(*view->cutOut)));
        if (view->objectId != 0)
            parts.append(QStringLiteral("%1: object %2").arg(view.key()).arg(view->objectId));
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
    Q_EMIT called(QStringLiteral("updateRecorderContents"), {});
    const bool started = state.startRefresh();
    Q_EMIT displayCalled(QStringLiteral("updateRecorderContents"));
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
    Q_EMIT called(QStringLiteral("getRecorderList"), QStringLiteral("%1 recorders").arg(recorders.size()));
}

void WallHost::getPresetsList(std::vector<PresetEntry>& presets)
{
    for (const Preset& preset : state.presets())
        presets.emplace_back().name = preset.name.toStdString();
    Q_EMIT called(QStringLiteral("getPresetsList"), QStringLiteral("%1 presets").arg(presets.size()));
}

void WallHost::showLive(std::string recorder, int camera, bool alarm, int& splitId)
{
    const CameraSource source {name(recorder), camera};
    Q_EMIT called(QStringLiteral("showLive"), listed(sourceParts(source, splitId, alarm)));
    splitId = state.showLive(source, alarm, splitId);
    Q_EMIT displayCalled(QStringLiteral("showLive"));
}

void WallHost::showLiveAtSubsplit(int splitId, int camera, int subsplitIndex)
{
    Q_EMIT called(QStringLiteral("showLiveAtSubsplit"),
        listed({QStringLiteral("camera %1").arg(camera), QStringLiteral("split %1").arg(splitId),
            QStringLiteral("sub-split %1").arg(subsplitIndex)}));
    state.showLiveAtSubsplit(splitId, camera, subsplitIndex);
    Q_EMIT displayCalled(QStringLiteral("showLiveAtSubsplit"));
}

void WallHost::showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm,
    int& splitId, qint64 limitStart, qint64 limitEnd)
{
    showTrack(QStringLiteral("showTrackByName"),
        {{name(recorder), camera}, name(trackName), time, limitStart, limitEnd}, alarm, splitId);
}

void WallHost::showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
    qint64 limitStart, qint64 limitEnd)
{
    showTrack(QStringLiteral("showTrackById"), {{name(recorder), camera}, trackId, time, limitStart, limitEnd}, alarm,
        splitId);
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
    Q_EMIT called(QStringLiteral("setPreset"), quoted(preset));
    state.setPreset(preset);
    Q_EMIT displayCalled(QStringLiteral("setPreset"));
}

void WallHost::setSplitMode(int splitMode)
{
    Q_EMIT called(QStringLiteral("setSplitMode"), QStringLiteral("mode %1").arg(splitMode));
    state.setSplitMode(splitMode);
    Q_EMIT displayCalled(QStringLiteral("setSplitMode"));
}

/// The wall has one window, so that every window id means it.
void WallHost::setSplitModeByName(int windowId, const std::string& commandDocument)
{
    const QString document = QString::fromStdString(commandDocument);
    Q_EMIT called(
        QStringLiteral("setSplitModeByName"), listed({QStringLiteral("window %1").arg(windowId), excerpt(document)}));
    state.setLayoutByDocument(document);
    Q_EMIT displayCalled(QStringLiteral("setSplitModeByName"));
}

void WallHost::setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds)
{
    QMap<int, Inset> views;
    for (const auto& [id, rect] : rects)
        views[id].cutOut = toQRectF(rect);
    for (const auto& [id, objectId] : objectIds)
        views[id].objectId = objectId;
    Q_EMIT called(QStringLiteral("setDetailViews"), viewsText(splitId, views));
    state.setDetailViews(splitId, views);
    Q_EMIT displayCalled(QStringLiteral("setDetailViews"));
}

bool WallHost::getPertinentInfo(const std::string& commandDocument, std::string& answer)
{
    Q_EMIT called(QStringLiteral("getPertinentInfo"), excerpt(QString::fromStdString(commandDocument)));
    answer = wallReport(state, QDateTime::currentMSecsSinceEpoch()).toStdString();
    return true;
}
