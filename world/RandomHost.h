#pragma once

#include "Witness.h"

#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QObject>
#include <QTimer>

#include <array>
#include <map>
#include <string>
#include <vector>

namespace world {

/// The host, with one server or two, which does in calls, in lines of the log and in between what its acts say:
///   host WHERE WHAT
/// WHERE: call:ID, call:R#N (the Nth call without an id of this kind; P, U), line:KIND#N, audit:EVENT#N, at:MS, begin,
/// each WHAT: loop:MS slow:MS shortage:MS lines:on|off audit:on|off, and with a server (:0, :1) behind it
///   destroy renew close listen relisten pause resume finished limits:none|room|tiny
///   tls:rsa|elliptic|query|verify|useless
/// The place `begin` is before the first client; `each` is each call, for crowds.
/// What it has ended it begins again by itself soon after.
class RandomHost final : public QObject, public OrvaneInterface::OrvaneInterface {
public:
    RandomHost(const std::vector<std::string>& worldActs, Shared& shared);
    ~RandomHost();

    /// Servers, and the host's own care of them.
    void begin(int servers);
    void end();
    bool isBusy() const { return depth > 0; }
    bool hasCrowd() const { return isCrowd; }
    /// For each line of the library.
    void handleLine(const std::string& category, const std::string& line);

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

private:
    struct Slot {
        ::OrvaneInterface::OrvaneServer* server = nullptr;
        bool wanted = false;
        bool paused = false;
        int64_t troubleSince = 0; ///< without a server, or one that does not accept
        ::OrvaneInterface::OrvaneLimits limits;
        std::string tls = "rsa";
    };

    void handleCall(const std::string& id);
    void handleNamelessCall(const char* kind);
    /// Does what the acts say of this place.
    void reach(const std::string& place);
    void carryOut(const std::string& what, const std::string& place);
    void carryOut(const std::vector<std::string>& words, const std::string& noted);
    void carryOutOn(Slot& slot, size_t index, const std::vector<std::string>& words);
    void create(size_t index);
    void listen(size_t index);
    void configure(Slot& slot);
    void runLoop(int ms);
    void beShort(int ms);
    void endShortage();
    void lookAfter();
    void applyFilterRules() const;

    Shared& shared;
    std::multimap<std::string, std::string> acts;
    std::map<std::string, int> counts;
    std::array<Slot, SlotCount> slots_ {};
    QTimer care;
    std::vector<int> taken; ///< descriptors, in a shortage
    int depth = 0;
    int loops = 0;
    int updates = 0;
    bool isCrowd = false;
    bool writesLines = false;
    bool writesAudit = false;
};

/// Of limits that keep clients waiting and end some: what Promises knows, too.
::OrvaneInterface::OrvaneLimits limitsOf(const std::string& name);

} // namespace world
