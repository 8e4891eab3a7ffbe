#pragma once

#include "WallState.h"

#include <OrvaneInterface.h>

#include <QObject>
#include <QString>

/// An alias: moc repeats the name inside the class, where the last part of the full name would mean the constructor.
using HostInterface = OrvaneInterface::OrvaneInterface;

/**
 * The wall as the library sees it: turns each host call into one request to the WallState, and signals it.
 *
 * Times are milliseconds since 1970, UTC. A time of -1 is the start of the track or of the limits; a limit of 0 is not
 * set. Rectangles are parts of the picture, 0 to 1 both ways. Cameras are numbered from 1, splits from 0.
 */
class WallHost final : public QObject, public HostInterface {
    Q_OBJECT

public:
    /// \a state must outlive this object.
    explicit WallHost(WallState& state, QObject* parent = nullptr);

    bool updateRecorderContents() override;
    void getRecorderList(std::vector<RecorderEntry>& recorders) override;
    void getPresetsList(std::vector<PresetEntry>& presets) override;
    void showLive(std::string recorder, int camera, bool alarm, int& splitId) override;
    void showLiveAtSubsplit(int splitId, int camera, int subsplitIndex) override;
    void showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm, int& splitId,
        qint64 limitStart, qint64 limitEnd) override;
    void showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
        qint64 limitStart, qint64 limitEnd) override;
    void setPreset(std::string presetName) override;
    void setSplitMode(int splitMode) override;
    void setSplitModeByName(int windowId, const std::string& commandDocument) override;
    void setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds) override;
    bool getPertinentInfo(const std::string& commandDocument, std::string& answer) override;

Q_SIGNALS:
    /// A host call has come in and is about to be carried out; its arguments in readable form.
    void called(const QString& command, const QString& arguments);
    /// A host call that may have changed the display has been carried out.
    void displayCalled(const QString& command);

private:
    void showTrack(const QString& command, const PlaybackRequest& request, bool alarm, int& splitId);

    WallState& state;
};
