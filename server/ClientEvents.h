#pragma once

#include "AuditTrail.h"
#include "OrvaneClient.h"

#include <QQueue>

#include <memory>

class QAbstractSocket;

namespace OrvaneInterface {

/// The observer set by the host, and the events to come; shared by all clients of the server. The observer is empty
/// once the server is being destroyed.
struct ClientObservation {
    struct Untold {
        OrvaneClientEvent event;
        AuditTrail* audit; ///< null once it has been asked to write the event
    };

    /// Tells all events, in their order. What happens meanwhile, because the host runs events in a line of the audit
    /// trail or in its observer, is told by the inner call, after what happened before.
    void tellAll();

    std::shared_ptr<OrvaneClientObserver> observer;
    QQueue<Untold> untold;
    bool isOver = false; ///< the server is being destroyed and accepts no further observer
};

/**
 * Identifies one client, and reports its events: first to the audit trail, then to the host's observer.
 *
 * Like any log call, either may run host code, which may destroy the server. Thread: the server's.
 */
class ClientEvents {
public:
    ClientEvents() = default; ///< for no client
    ClientEvents(OrvaneClient client, std::shared_ptr<ClientObservation> observation);

    /// The client of \a socket, as recorded when it was accepted: a socket forgets its peer when the client leaves.
    static OrvaneClient clientOf(const QAbstractSocket& socket);
    /// Records the client. Call it once for each socket, when it is accepted.
    static void setClient(QAbstractSocket& socket);

    const OrvaneClient& client() const { return who; }
    void setEncrypted(const QSslCertificate& certificate);
    void setAccount(OrvaneClient::Account account, const QString& name);

    /// Whether anyone receives the events: check this before building data only for them.
    bool isWanted() const { return AuditTrail::isOn() || (observation && observation->observer); }

    /// Reports \a event, after setting its client. This object must outlive the call.
    void tell(OrvaneClientEvent event);

private:
    OrvaneClient who;
    AuditTrail audit;
    std::shared_ptr<ClientObservation> observation;
};

} // namespace OrvaneInterface
