#pragma once

#include <OrvaneInterface.h>

#include <string>

/// A host that answers at once, always the same, and keeps nothing.
class QuietHost final : public OrvaneInterface::OrvaneInterface {
public:
    explicit QuietHost(int recorderCount = 0)
        : recorderCount(recorderCount)
    {
    }

    bool updateRecorderContents() override { return true; }
    void getRecorderList(std::vector<RecorderEntry>& recorders) override
    {
        for (int number = 0; number < recorderCount; ++number) {
            RecorderEntry& recorder = recorders.emplace_back();
            recorder.name = "Recorder " + std::to_string(number);
            recorder.ip = "192.0.2.1";
            recorder.tracks = {"Track 1", "Track 2"};
        }
    }
    void getPresetsList(std::vector<PresetEntry>& presets) override { presets.emplace_back().name = "Preset"; }
    void showLive(std::string, int, bool, int&) override { }
    void showLiveAtSubsplit(int, int, int) override { }
    void showTrackByName(std::string, std::string, int, qint64, bool, int&, qint64, qint64) override { }
    void showTrackById(std::string, int, int, qint64, bool, int&, qint64, qint64) override { }
    void setPreset(std::string) override { }
    void setSplitMode(int) override { }
    void setSplitModeByName(int, const std::string&) override { }
    void setDetailViews(int, std::map<int, SubsplitRect>, std::map<int, qint64>) override { }
    bool getPertinentInfo(const std::string&, std::string&) override { return false; }

private:
    int recorderCount;
};
