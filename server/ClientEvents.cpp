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
    // While the previous event is told, the host may destroy the server. If this client's connection was to be told
    // next, its end is met here first: then neither is told.
    const bool begins = event.type == OrvaneClientEvent::Type::Connected;
    if (std::exchange(isBeginning, begins))
        return;
    tellObserver(); // of the previous event, of this or another client, if the host is running events in its log line
    if (begins && !std::exchange(isBeginning, false))
        return;
    event.client = who;
    if (observation)
        observation->untold = event;
    audit.write(event);
    tellObserver();
}

void ClientEvents::tellObserver()
{
    if (!observation)
        return;
    const auto event = std::exchange(observation->untold, std::nullopt);
    // Copied: the observer may set another one or destroy the server.
    const auto observer = observation->observer;
    if (event && observer)
        (*observer)(*event);
}

} // namespace OrvaneInterface
