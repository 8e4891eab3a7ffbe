#pragma once

#include <OrvaneInterface.h>

/// A host that has nothing, returns at once, and records nothing.
class QuietHost final : public OrvaneInterface::OrvaneInterface {
public:
    bool updateRecorderContents() override { return true; }
    void getRecorderList(std::vector<RecorderEntry>&) override { }
    void getPresetsList(std::vector<PresetEntry>&) override { }
    void showLive(std::string, int, bool, int&) override { }
    void showLiveAtSubsplit(int, int, int) override { }
    void showTrackByName(std::string, std::string, int, qint64, bool, int&, qint64, qint64) override { }
    void showTrackById(std::string, int, int, qint64, bool, int&, qint64, qint64) override { }
    void setPreset(std::string) override { }
    void setSplitMode(int) override { }
    void setSplitModeByName(int, const std::string&) override { }
    void setDetailViews(int, std::map<int, SubsplitRect>, std::map<int, qint64>) override { }
    bool getPertinentInfo(const std::string&, std::string&) override { return false; }
};
