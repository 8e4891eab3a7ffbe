#pragma once

#include "RecorderCatalogue.h"
#include "Split.h"
#include "SplitLayout.h"

#include <QElapsedTimer>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <variant>

/// A playback as the client asks for it. Times are milliseconds since 1970, UTC.
struct PlaybackRequest {
    CameraSource source;
    std::variant<QString, int> track; ///< by name or by id
    qint64 time = -1; ///< where to start; negative: at the start of the range
    qint64 limitStart = 0; ///< start of the range; 0 or less: that of the track
    qint64 limitEnd = 0; ///< end of the range; 0 or less: that of the track
};

/**
 * What the wall shows, its recorders and its presets. Independent of windows and of the network.
 *
 * Splits are numbered from 0 in the order of the layout. A split keeps its picture and its insets for as long as the
 * layout contains it. Requests that make no sense to the wall change nothing, but are noted.
 *
 * Lives on the thread of the host's event loop.
 */
class WallState : public QObject {
    Q_OBJECT

public:
    explicit WallState(QObject* parent = nullptr);

    const SplitLayout& layout() const { return currentLayout; }
    const Split& split(int splitId) const { return splits.at(splitId); }
    const QList<Recorder>& recorders() const { return catalogue.all(); }
    const QList<Preset>& presets() const { return presetList; }

    /// Shows a camera. \return its split: \a wantedSplit if that exists, otherwise one that is chosen
    int showLive(const CameraSource& source, bool alarm, int wantedSplit);
    /// As showLive(), for a recorded track.
    int showPlayback(const PlaybackRequest& request, bool alarm, int wantedSplit);
    /// Shows another camera of the split's recorder as an inset.
    void showLiveAtSubsplit(int splitId, int camera, int subsplitIndex);
    /// Replaces all insets of a split. The corners of a cut-out may be reversed or outside the picture.
    void setDetailViews(int splitId, const QMap<int, Inset>& views);
    void setPreset(const QString& name);
    void setSplitMode(int splitMode);
    void setLayoutByDocument(const QString& commandDocument);

    /// False while an earlier refresh is running.
    bool startRefresh();
    bool isRefreshing() const { return refreshTimer.isActive(); }
    /// 0 to 1.
    double refreshProgress() const;
    void setRefreshDuration(std::chrono::milliseconds duration) { refreshTimer.setInterval(duration); }

Q_SIGNALS:
    void changed();
    /// Text for the user: a request that could not be met, or what was chosen or found.
    void noted(const QString& text);
    void refreshFinished();

private:
    bool hasSplit(int splitId) const { return splitId >= 0 && splitId < splits.size(); }
    int chooseSplit(int wantedSplit);
    int firstFreeOrOldest() const;
    void show(int splitId, const CameraSource& source, bool alarm);
    void setLayout(const SplitLayout& layout);
    void finishRefresh();

    RecorderCatalogue catalogue;
    QList<Preset> presetList;
    SplitLayout currentLayout;
    QList<Split> splits; ///< as many as the layout has
    quint64 picturesShown = 0;
    QTimer refreshTimer;
    QElapsedTimer refreshRunning;
};
