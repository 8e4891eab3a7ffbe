#pragma once

#include "ClientWatch.h"
#include "RecordingHost.h"
#include "Shared.h"

#include <OrvaneServer.h>

#include <QObject>
#include <QTimer>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace world {

/// The host and its server. It does in calls, in lines of the log and in between what its acts say:
///   host WHERE WHAT
/// WHERE: call:ID, call:OPERATION#N (the Nth call of one without an id), line:KIND#N, audit:EVENT#N, at:MS, begin,
///   each, event:EVENT#N (of the observer)
/// WHAT, or several joined by +: loop:MS slow:MS shortage:MS destroy renew close listen relisten pause resume accept
/// finished limits:none|room|huge|tiny
///   tls:rsa|elliptic|query|verify|useless
/// The place `begin` is before the first client; `each` is each call, for crowds.
/// What it has ended it begins again by itself soon after.
class RandomHost : public QObject {
public:
    RandomHost(const std::vector<std::string>& worldActs, Shared& shared);
    ~RandomHost() { end(); }

    /// Ends the server, and the host's own care of it.
    void end();
    bool hasCrowd() const { return acts.contains("each"); }
    /// For each line of the library.
    void handleLine(const std::string& category, const std::string& line);

private:
    void handleCall(const std::string& call);
    void handleEvent(const OrvaneInterface::OrvaneClientEvent& event);
    void checkCurrent();
    /// Does what the acts say of this place.
    void reach(const std::string& place);
    void carryOut(const std::string& what, const std::string& place);
    void carryOutOnServer(const std::string& verb);
    void create();
    void listen();
    void configure();
    void runLoop(int ms);
    void beShort(int ms);
    void endShortage();
    void lookAfter();
    void endRefresh();

    Shared& shared;
    RecordingHost host;
    OrvaneInterface::OrvaneServer* server = nullptr;
    std::multimap<std::string, std::string> acts;
    std::map<std::string, int> counts;
    int endedRefreshes = 0;
    QTimer care;
    int64_t troubleSince = 0; ///< without a server, or with one that does not accept
    std::string limits = "none";
    std::string tls = "rsa";
    std::vector<int> taken; ///< descriptors, in a shortage
    bool paused = false;
    bool storms = false; ///< a client is one
    int loops = 0;
    bool observes;
    ClientWatch watch; ///< of the present server
    /// In whose calls the host's code runs, and of which server: the client's id and the number of servers before.
    std::vector<std::pair<quint64, int>> askers;
    int servers = 0;
    int auditLines = 0; ///< inside one another
};

/// Of limits that keep clients waiting and end some: what Promises knows, too.
OrvaneInterface::OrvaneLimits limitsOf(const std::string& name);

} // namespace world
