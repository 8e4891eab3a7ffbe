#include "ClientEvents.h"

#include "OrvaneClientData.h"

#include <QAbstractSocket>
#include <QVariant>

#include <atomic>
#include <utility>

namespace OrvaneInterface {

namespace {

constexpr auto ClientProperty = "orvaneClient";

/// Returns an IPv4 address in its IPv4 form, even if the server listens on an IPv6 address.
QHostAddress plainAddress(const QHostAddress& address)
{
    bool isIpv4 = false;
    const QHostAddress ipv4(address.toIPv4Address(&isIpv4));
    return isIpv4 ? ipv4 : address;
}

} // namespace

ClientEvents::ClientEvents(OrvaneClient client, std::shared_ptr<ClientObservation> observation)
    : who(std::move(client))
    , observation(std::move(observation))
{
}

OrvaneClient ClientEvents::clientOf(const QAbstractSocket& socket)
{
    return socket.property(ClientProperty).value<OrvaneClient>();
}

void ClientEvents::setClient(QAbstractSocket& socket)
{
    static std::atomic<quint64> lastId = 0; // shared by the servers of all threads
    OrvaneClient client;
    client.d = new OrvaneClientData;
    client.d->id = ++lastId;
    client.d->address = plainAddress(socket.peerAddress());
    client.d->port = socket.peerPort();
    client.d->connectedSince = QDateTime::currentDateTimeUtc();
    socket.setProperty(ClientProperty, QVariant::fromValue(client));
}

void ClientEvents::setEncrypted(const QSslCertificate& certificate)
{
    if (who.isNull())
        return;
    who.d->isEncrypted = true;
    who.d->certificate = certificate;
}

void ClientEvents::setAccount(OrvaneClient::Account account, const QString& name)
{
    if (who.isNull())
        return;
    who.d->account = account;
    who.d->accountName = name;
}

void ClientEvents::tell(OrvaneClientEvent event)
{
    if (!isWanted())
        return;
    event.client = who;
    if (!observation)
        return audit.write(event);
    const auto kept = observation; // the host may destroy the server
    kept->untold.enqueue({std::move(event), &audit});
    kept->tellAll();
}

void ClientObservation::tellAll()
{
    while (!untold.isEmpty()) {
        if (auto* audit = std::exchange(untold.head().audit, nullptr)) {
            audit->write(OrvaneClientEvent(untold.head().event)); // copied: the host may run events in the line
            continue;
        }
        const OrvaneClientEvent event = untold.dequeue().event;
        // Copied: the observer may set another one or destroy the server.
        if (const auto keptObserver = observer)
            (*keptObserver)(event);
    }
}

} // namespace OrvaneInterface
