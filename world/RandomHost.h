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

/// The host and its server. In calls, in log lines and in between, it does what its acts say:
///   host WHERE WHAT
/// WHERE: call:ID, call:OPERATION#N (the Nth call of one without an id), line:KIND#N, audit:EVENT#N, at:MS, begin,
///   each, event:EVENT#N (of the observer)
/// WHAT, or several joined by +: loop:MS slow:MS shortage:MS destroy renew close listen relisten pause resume accept
///   finished limits:none|room|huge|tiny tls:rsa|elliptic|query|verify|useless
/// The place `begin` is before the first client; `each` is each call, for crowds.
/// What it has stopped it soon starts again by itself.
class RandomHost : public QObject {
public:
    RandomHost(const std::vector<std::string>& worldActs, Shared& shared);
    ~RandomHost() { end(); }

    /// Destroys the server, and stops looking after it.
    void end();
    bool hasCrowd() const { return acts.contains("each"); }
    qsizetype clientCount() const { return server == nullptr ? 0 : server->clients().size(); }
    /// Called for each line of the library.
    void handleLine(const std::string& category, const std::string& line);

private:
    void handleCall(const std::string& call);
    void handleEvent(const OrvaneInterface::OrvaneClientEvent& event);
    void checkCurrent();
    /// Carries out the acts of this place.
    void reach(const std::string& place);
    void carryOut(const std::string& what, const std::string& place);
    void carryOutOnServer(const std::string& verb);
    void create();
    void listen();
    void configure();
    void runLoop(int ms);
    void startShortage(int ms);
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
    std::vector<int> taken; ///< descriptors, during a shortage
    bool paused = false;
    bool storms = false; ///< a client makes a storm
    int loops = 0;
    bool observes;
    ClientWatch watch; ///< of the present server
    /// The calls in which the host's code runs, outermost first: the client's id and the number of its server.
    std::vector<std::pair<quint64, int>> askers;
    int servers = 0;
    int auditLines = 0; ///< nested
};

/// The limits of this name, which make clients wait and disconnect some. Promises uses them, too.
OrvaneInterface::OrvaneLimits limitsOf(const std::string& name);

} // namespace world
