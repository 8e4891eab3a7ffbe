#include "ServerSettings.h"

#include "AuditLog.h"
#include "DebugLog.h"

#include <QPointer>
#include <QTcpSocket>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

void ServerSettings::tellOfRefusedClients()
{
    const QPointer<ServerSettings> self(this);
    while (self && !refusedClients.isEmpty()) {
        QTcpSocket* client = refusedClients.takeFirst();
        const QString peer = peerOf(*client);
        delete client; // now: a line may destroy the server
        if (auditLog().isInfoEnabled())
            writeAuditLine({{"event"_L1, "exceededLimit"_L1}, {"limit"_L1, "maxClients"_L1}, {"peer"_L1, peer}});
        logExceededLimit("maxClients"_L1, peer);
    }
}

} // namespace OrvaneInterface
