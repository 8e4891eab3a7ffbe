#include "WallState.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// Long enough to be seen, short enough to wait for.
constexpr std::chrono::milliseconds RefreshDuration {1800};

/// The end of the year 9999: later times have no readable form, and sums with them could overflow.
constexpr qint64 LatestTime = 253'402'300'799'999;

/// The part of a cut-out that is inside the picture, corners in order; empty if there is none.
QRectF insidePicture(const QRectF& cutOut)
{
    const auto bounded = [](qreal value) { return std::isnan(value) ? 0 : std::clamp<qreal>(value, 0, 1); };
    const QPointF leftTop(bounded(cutOut.left()), bounded(cutOut.top()));
    const QPointF rightBottom(bounded(cutOut.right()), bounded(cutOut.bottom()));
    return QRectF(leftTop, rightBottom).normalized();
}

const Track* findTrack(const Recorder& recorder, const std::variant<QString, int>& track)
{
    if (const int* id = std::get_if<int>(&track))
        return *id >= 1 && *id <= recorder.tracks.size() ? &recorder.tracks.at(*id - 1) : nullptr;
    const auto& name = std::get<QString>(track);
    const auto found = std::find_if(recorder.tracks.begin(), recorder.tracks.end(),
        [&name](const Track& candidate) { return candidate.name == name; });
    return found == recorder.tracks.end() ? nullptr : &*found;
}

QString trackLabel(const PlaybackRequest& request, const Track* track)
{
    if (const int* id = std::get_if<int>(&request.track))
        return track ? u"%1 (track %2)"_s.arg(track->name).arg(*id) : u"Track %1"_s.arg(*id);
    return std::get<QString>(request.track);
}

Playback playbackOf(const PlaybackRequest& request, const Track& track, qint64 now)
{
    const qint64 time = request.time;
    Playback playback;
    playback.track = trackLabel(request, &track);
    playback.limited = request.limitStart > 0 || request.limitEnd > 0;
    // Without limits the range is the track, extended to a start outside of it.
    playback.start = request.limitStart > 0 ? request.limitStart : time < 0 ? track.start : std::min(time, track.start);
    playback.end = request.limitEnd > 0 ? request.limitEnd : std::max(time, track.end);
    playback.start = std::min(playback.start, LatestTime);
    playback.end = std::min(playback.end, LatestTime);
    if (playback.end < playback.start)
        std::swap(playback.start, playback.end);
    playback.from = time < 0 ? playback.start : std::clamp(time, playback.start, playback.end);
    playback.startedAt = now;
    return playback;
}

} // namespace

WallState::WallState(QObject* parent)
    : QObject(parent)
    , presetList(storedPresets())
    , currentLayout(SplitLayout::ofSplitMode(4).value())
    , splits(currentLayout.splitCount())
{
    refreshTimer.setSingleShot(true);
    refreshTimer.setInterval(RefreshDuration);
    connect(&refreshTimer, &QTimer::timeout, this, &WallState::finishRefresh);
}

int WallState::showLive(const CameraSource& source, bool alarm, int wantedSplit)
{
    const int splitId = chooseSplit(wantedSplit);
    show(splitId, catalogue.completed(source), alarm);
    splits[splitId].playback.reset();
    Q_EMIT changed();
    return splitId;
}

int WallState::showPlayback(const PlaybackRequest& request, bool alarm, int wantedSplit)
{
    const int splitId = chooseSplit(wantedSplit);
    show(splitId, catalogue.completed(request.source), alarm);
    Split& split = splits[splitId];
    const Recorder* recorder = catalogue.find(split.source->recorder);
    const Track* track = recorder ? findTrack(*recorder, request.track) : nullptr;
    if (recorder && !track) {
        split.fault = u"No track \"%1\""_s.arg(trackLabel(request, nullptr));
        Q_EMIT noted(u"%1 has no track \"%2\""_s.arg(recorder->name, trackLabel(request, nullptr)));
    }
    split.playback = playbackOf(request, track ? *track : Track(), QDateTime::currentMSecsSinceEpoch());
    if (!track)
        split.playback->track = trackLabel(request, nullptr);
    Q_EMIT changed();
    return splitId;
}

/// Shows a camera in a split. If the camera changes, removes the views of the old picture.
void WallState::show(int splitId, const CameraSource& source, bool alarm)
{
    Split& split = splits[splitId];
    if (split.source != source)
        split.insets.removeIf([](const auto& inset) { return !inset.value().live; });
    split.source = source;
    split.alarm = alarm;
    split.fault = catalogue.faultOf(source);
    split.shownInOrder = ++picturesShown;
    if (!split.fault.isEmpty())
        Q_EMIT noted(u"No picture of \"%1\" camera %2: %3"_s.arg(source.recorder).arg(source.camera).arg(split.fault));
}

int WallState::chooseSplit(int wantedSplit)
{
    if (hasSplit(wantedSplit))
        return wantedSplit;
    const int chosen = firstFreeOrOldest();
    Q_EMIT noted(wantedSplit == -1 ? u"Split %1 chosen"_s.arg(chosen)
                                   : u"No split %1; split %2 chosen"_s.arg(wantedSplit).arg(chosen));
    return chosen;
}

/// The first free split; on a full wall the one with the oldest picture, an alarm only if all splits are alarms.
int WallState::firstFreeOrOldest() const
{
    const auto rank = [](const Split& split) {
        return std::make_tuple(!split.isFree(), split.alarm, split.isFree() ? quint64 {0} : split.shownInOrder);
    };
    const auto best = std::min_element(splits.begin(), splits.end(),
        [&rank](const Split& left, const Split& right) { return rank(left) < rank(right); });
    return static_cast<int>(std::distance(splits.begin(), best));
}

void WallState::showLiveAtSubsplit(int splitId, int camera, int subsplitIndex)
{
    if (!hasSplit(splitId) || subsplitIndex < 0) {
        Q_EMIT noted(u"No sub-split %1 in split %2"_s.arg(subsplitIndex).arg(splitId));
        return;
    }
    Split& split = splits[splitId];
    const CameraSource source = catalogue.completed({split.source ? split.source->recorder : QString(), camera});
    Inset inset;
    inset.live = source;
    inset.fault = catalogue.faultOf(source);
    split.insets[subsplitIndex] = inset;
    Q_EMIT changed();
}

void WallState::setDetailViews(int splitId, const QMap<int, Inset>& views)
{
    if (!hasSplit(splitId)) {
        Q_EMIT noted(u"No split %1 for detail views"_s.arg(splitId));
        return;
    }
    QMap<int, Inset> insets = views;
    for (auto inset = insets.begin(); inset != insets.end();) {
        if (inset->cutOut)
            inset->cutOut = insidePicture(*inset->cutOut);
        if (inset->cutOut && inset->cutOut->isEmpty()) {
            Q_EMIT noted(u"Detail view %1 is outside the picture (0 to 1)"_s.arg(inset.key()));
            inset->cutOut.reset();
        }
        inset = inset->cutOut || inset->objectId != 0 ? std::next(inset) : insets.erase(inset);
    }
    splits[splitId].insets = insets;
    Q_EMIT changed();
}

void WallState::setPreset(const QString& name)
{
    const auto preset = std::find_if(
        presetList.begin(), presetList.end(), [&name](const Preset& candidate) { return candidate.name == name; });
    if (preset == presetList.end()) {
        Q_EMIT noted(u"No preset \"%1\""_s.arg(name));
        return;
    }
    currentLayout = preset->layout;
    splits = QList<Split>(currentLayout.splitCount());
    for (int splitId = 0; splitId < preset->sources.size(); ++splitId)
        show(splitId, preset->sources.at(splitId), false);
    Q_EMIT changed();
}

void WallState::setSplitMode(int splitMode)
{
    if (const auto layout = SplitLayout::ofSplitMode(splitMode))
        setLayout(*layout);
    else
        Q_EMIT noted(u"No split mode %1; use 1, 4, 9 or 16"_s.arg(splitMode));
}

void WallState::setLayoutByDocument(const QString& commandDocument)
{
    const LayoutDocument document(commandDocument);
    if (!document.problem.isEmpty()) {
        Q_EMIT noted(document.problem);
        return;
    }
    if (const auto layout = SplitLayout::named(document.layoutName))
        setLayout(*layout);
    else
        Q_EMIT noted(u"No layout \"%1\"; use one of %2"_s.arg(document.layoutName, SplitLayout::names().join(u", "_s)));
}

void WallState::setLayout(const SplitLayout& layout)
{
    currentLayout = layout;
    splits.resize(layout.splitCount());
    Q_EMIT changed();
}

bool WallState::startRefresh()
{
    if (isRefreshing()) {
        Q_EMIT noted(u"Rejected: a refresh is already running"_s);
        return false;
    }
    refreshRunning.start();
    refreshTimer.start();
    Q_EMIT changed();
    return true;
}

double WallState::refreshProgress() const
{
    if (!isRefreshing())
        return 0;
    const double duration = std::max(1, refreshTimer.interval());
    return std::min(1.0, static_cast<double>(refreshRunning.elapsed()) / duration);
}

void WallState::finishRefresh()
{
    Q_EMIT noted(catalogue.addFound());
    Q_EMIT changed();
    Q_EMIT refreshFinished();
}
