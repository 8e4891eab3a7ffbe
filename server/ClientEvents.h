#pragma once

#include "AuditTrail.h"
#include "OrvaneClient.h"

#include <memory>
#include <optional>

class QAbstractSocket;

namespace OrvaneInterface {

/// The observer that the host has set; shared with all clients of the server, and empty from the server's end on.
struct ClientObservation {
    std::shared_ptr<OrvaneClientObserver> observer;
    bool isOver = false; ///< the server is being destroyed, and takes no observer any more
};

/**
 * Tells of what one client does, and who it is: the audit trail first, then the host's observer.
 *
 * Either may run code of the host, and destroy the server, as any line of the log. Thread: that of the server.
 */
class ClientEvents {
public:
    ClientEvents() = default; ///< for nobody
    ClientEvents(OrvaneClient client, std::shared_ptr<const ClientObservation> observation);

    /// Who the socket leads to, known from when it was accepted: a socket forgets it when the client has left.
    static OrvaneClient clientOf(const QAbstractSocket& socket);
    /// To be called once for each, when it is accepted.
    static void setClient(QAbstractSocket& socket);

    const OrvaneClient& client() const { return who; }
    void setEncrypted(const QSslCertificate& certificate);
    void setAccount(OrvaneClient::Account account, const QString& name);

    /// Whether anybody listens: ask before putting together what is only for them.
    bool isWanted() const { return AuditTrail::isOn() || (observation && observation->observer); }

    /// \a event without its client.
    void tell(OrvaneClientEvent event);

private:
    void tellObserver();

    OrvaneClient who;
    AuditTrail audit;
    std::optional<OrvaneClientEvent> untold; ///< its line in the audit trail is being written
    std::shared_ptr<const ClientObservation> observation;
};

} // namespace OrvaneInterface
