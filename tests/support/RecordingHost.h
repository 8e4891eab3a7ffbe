#pragma once

#include <OrvaneInterface.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// A host that records every call, with its arguments in order, and answers as the test sets it up.
class RecordingHost final : public OrvaneInterface::OrvaneInterface {
public:
    QStringList calls; ///< such as `showLive("R1", 3, false, -1)`, oldest first
    std::function<void()> duringCall; ///< runs inside every call, after it was recorded

    bool refreshStarts = true; ///< the result of updateRecorderContents()
    std::vector<RecorderEntry> recorders;
    std::vector<PresetEntry> presets;
    std::optional<int> usedSplit; ///< what calls leave in their split id; empty: what the client sent
    std::optional<std::string> answer; ///< of getPertinentInfo(); empty: false

    bool updateRecorderContents() override;
    void getRecorderList(std::vector<RecorderEntry>& list) override;
    void getPresetsList(std::vector<PresetEntry>& list) override;
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
    bool getPertinentInfo(const std::string& commandDocument, std::string& reply) override;

private:
    template <typename... Arguments> void record(const char* operation, const Arguments&... arguments);
};
