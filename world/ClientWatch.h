#pragma once

#include <OrvaneServer.h>

#include <map>
#include <set>
#include <string>

namespace world {

/// Checks that a server's events, clients() and currentClient() agree.
class ClientWatch {
public:
    /// Call it whenever the host's code runs. \a asker: id of the client whose call on this server is running; 0: none
    static void checkCurrent(const OrvaneInterface::OrvaneServer& server, quint64 asker);
    /// \return the name of the event
    std::string take(const OrvaneInterface::OrvaneClientEvent& event);
    /// Not for lines of the audit trail, which come before their events.
    void checkClients(const OrvaneInterface::OrvaneServer& server) const;

private:
    using Event = OrvaneInterface::OrvaneClientEvent;

    void judge(const Event& event, const std::string& text);
    void judgeEnd(const Event& event, const std::string& text);

    std::map<quint64, OrvaneInterface::OrvaneClient> connected; ///< by id, as in their last events
    std::set<quint64> endedByLimit; ///< Disconnected has not been reported yet
};

/// Its address and port.
std::string addressOf(const OrvaneInterface::OrvaneClient& client);

} // namespace world
