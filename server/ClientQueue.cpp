#include "ClientQueue.h"

#include "AuditLog.h"
#include "DebugLog.h"
#include "ServerSettings.h"

#include <QPointer>
#include <QSslSocket>

#include <algorithm>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// A tenth of a second, and at least ten turns of the event loop, of which one or two show it who has left.
constexpr int StepMs = 10;
constexpr int Steps = 10;

/// Far more than leave and come anew in one call of the host, and few enough for the descriptors of a process.
constexpr qsizetype MostWaiting = 100;

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
    client->setReadBufferSize(UnreadBytes);
    if (waiting.size() == MostWaiting)
        refuse(waiting.takeFirst());
    waiting.append({client, peerOf(*client), Steps});
    if (!timer.isActive())
        timer.start(StepMs, this);
}

void ClientQueue::timerEvent(QTimerEvent* /*event*/)
{
    for (Waiting& entry : waiting)
        --entry.stepsLeft;
    const auto mayWait = [](const Waiting& entry) { return entry.client->state() == QAbstractSocket::ConnectedState; };
    const auto left = std::stable_partition(waiting.begin(), waiting.end(), mayWait);
    std::for_each(left, waiting.end(), [this](const Waiting& entry) { refuse(entry); });
    waiting.erase(left, waiting.end());

    const QPointer<ClientQueue> self(this);
    admit();
    if (!self)
        return;
    while (!waiting.isEmpty() && waiting.first().stepsLeft <= 0)
        refuse(waiting.takeFirst());
    if (waiting.isEmpty())
        timer.stop();
    tellOfRefused();
}

/// The server may be destroyed in it.
void ClientQueue::admit()
{
    const QPointer<ClientQueue> self(this);
    while (self && !waiting.isEmpty() && !settings.isFull()) {
        QSslSocket* client = waiting.takeFirst().client;
        client->setReadBufferSize(0);
        client->startServerEncryption();
        admitted.append(client);
        Q_EMIT placeIsFree();
    }
}

void ClientQueue::refuse(const Waiting& entry)
{
    refused += entry.peer;
    delete entry.client;
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
