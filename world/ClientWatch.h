#pragma once

#include <OrvaneServer.h>

#include <map>
#include <set>
#include <string>

namespace world {

/// What a server says of its clients: its events, clients() and currentClient() must tell one story.
class ClientWatch {
public:
    /// Whenever the host's code runs. \a asker: the id of the client in whose call of this server it runs; 0: in none
    static void checkCurrent(const OrvaneInterface::OrvaneServer& server, quint64 asker);
    /// \return the name of the event
    std::string take(const OrvaneInterface::OrvaneClientEvent& event);
    /// Outside of the lines of the audit trail, which come before their events.
    void checkClients(const OrvaneInterface::OrvaneServer& server) const;

private:
    using Event = OrvaneInterface::OrvaneClientEvent;

    void judge(const Event& event, const std::string& text);
    void judgeEnd(const Event& event, const std::string& text);

    std::map<quint64, OrvaneInterface::OrvaneClient> connected; ///< by their ids, as their last events had them
    std::set<quint64> endedByLimit; ///< their ends are still to be told
};

/// Its address and port.
std::string addressOf(const OrvaneInterface::OrvaneClient& client);

} // namespace world
