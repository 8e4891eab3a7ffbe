#include "ClientQueue.h"

#include "AuditLog.h"
#include "DebugLog.h"
#include "ServerSettings.h"

#include <QPointer>
#include <QSslSocket>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// A tenth of a second, and at least ten turns of the event loop, of which one or two show it who has left.
constexpr int StepMs = 10;
constexpr int Steps = 10;

/// What a client may send in advance while it waits: more than the first message of a TLS handshake has.
constexpr qint64 UnreadBytes = 4096;

} // namespace

ClientQueue::ClientQueue(ServerSettings& settings)
    : QObject(&settings)
    , settings(settings)
{
}

bool ClientQueue::isNeeded() const
{
    return settings.isFull() || !waiting.isEmpty();
}

void ClientQueue::add(QSslSocket* client)
{
    if (settings.isFull() && waiting.size() >= settings.limits->maxClients) {
        refuse(client);
        return;
    }
    client->setReadBufferSize(UnreadBytes);
    waiting += {client, Steps};
    if (!timer.isActive())
        timer.start(StepMs, this);
}

void ClientQueue::timerEvent(QTimerEvent* /*event*/)
{
    const QPointer<ClientQueue> self(this);
    while (!waiting.isEmpty() && !settings.isFull()) {
        QSslSocket* client = waiting.takeFirst().client;
        client->setReadBufferSize(0);
        Q_EMIT placeIsFree(client);
        if (!self)
            return;
    }
    for (Waiting& entry : waiting)
        --entry.stepsLeft;
    while (!waiting.isEmpty() && waiting.first().stepsLeft <= 0)
        refuse(waiting.takeFirst().client);
    if (waiting.isEmpty())
        timer.stop();
    tellOfRefused();
}

void ClientQueue::refuse(QSslSocket* client)
{
    refused += peerOf(*client);
    delete client;
}

/// Inside a line the server may be destroyed.
void ClientQueue::tellOfRefused()
{
    const QPointer<ClientQueue> self(this);
    while (self && !refused.isEmpty()) {
        const QString peer = refused.takeFirst();
        if (auditLog().isInfoEnabled())
            writeAuditLine({{"event"_L1, "exceededLimit"_L1}, {"limit"_L1, "maxClients"_L1}, {"peer"_L1, peer}});
        logExceededLimit("maxClients"_L1, peer);
    }
}

} // namespace OrvaneInterface
