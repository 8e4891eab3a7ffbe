#pragma once

#include "OrvaneExport.h"

#include <QDateTime>
#include <QHostAddress>
#include <QMap>
#include <QSharedDataPointer>
#include <QSslCertificate>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>

namespace OrvaneInterface {

class OrvaneClientData;

/**
 * A snapshot of a client, as returned by the server or as part of an event. It never changes, and outlives client and
 * server.
 *
 * Copies share their data, so copying is cheap. All data is behind one pointer, so a later version can add properties
 * without breaking compiled hosts. Thread: any, one at a time.
 */
class ORVANE_INTERFACE_EXPORT OrvaneClient {
public:
    /// The accounts with which a client can log in.
    enum class Account : quint8 {
        None, ///< not logged in
        System, ///< the fixed system account; also if the client has logged in with both
        Host ///< the account that the host grants
    };

    /// Constructs a null client.
    OrvaneClient();
    /// Constructs a copy, which shares the data.
    OrvaneClient(const OrvaneClient& other);
    /// Takes over the data of \a other, which becomes null.
    OrvaneClient(OrvaneClient&& other) noexcept;
    /// Becomes a copy, which shares the data.
    OrvaneClient& operator=(const OrvaneClient& other);
    /// Takes over the data of \a other.
    OrvaneClient& operator=(OrvaneClient&& other) noexcept;
    /// The last copy deletes the data.
    ~OrvaneClient();

    /// Returns true if default-constructed, or returned by OrvaneServer::currentClient() outside all operations.
    bool isNull() const;
    /// Returns a number unique in the process, 1 or greater; 0 for a null client.
    quint64 id() const;
    /// Returns the client's address; null if it left before it was accepted.
    QHostAddress address() const;
    /// Returns the client's own port.
    quint16 port() const;
    /// Returns when the server accepted the client, in UTC.
    QDateTime connectedSince() const;
    /// Returns whether the TLS handshake has completed.
    bool isEncrypted() const;
    /// Returns the client's certificate; null unless the server asks for one and the client has sent it. With
    /// QSslSocket::QueryPeer it is unverified.
    QSslCertificate certificate() const;
    /// Returns the account with which the client has logged in.
    Account account() const;
    /// Returns the user name of the account; empty before the login. It may also be empty afterwards: check account().
    QString accountName() const;

private:
    friend class ClientEvents;
    QSharedDataPointer<OrvaneClientData> d;
};

/**
 * Something that a client did, or that happened to it; see OrvaneServer::setClientObserver().
 *
 * Only the library creates events. A later version may append members and add types: ignore unknown types.
 */
struct OrvaneClientEvent {
    /// Each type sets client and the members listed here.
    enum class Type : quint8 {
        Connected, ///< the client is in OrvaneServer::clients() from now on
        Encrypted, ///< the TLS handshake has completed
        HandshakeFailed, ///< reason
        LoggedIn, ///< user
        InvalidLogin, ///< user
        Command, ///< command, outcome; if it was carried out, also duration, parameters and split
        RefusedDocument, ///< command, reason
        ExceededLimit, ///< reason; no longer in clients(). Disconnected follows, except for maxClients
        Disconnected ///< reason; no longer in clients()
    };
    /// The reply to a command.
    enum class Outcome : quint8 { NoReply, Answered, Accepted, Rejected, NotLoggedIn };

    /// What happened.
    Type type = Type::Connected;
    /// The client just after the event.
    OrvaneClient client {};
    /// Name of the limit, reason for refusing the document, or a message of Qt or the TLS library.
    QString reason {};
    /// User name, as sent by the client.
    QString user {};
    /// Name of the command, as sent by the client.
    QString command {};
    /// Result of the command.
    Outcome outcome = Outcome::NoReply;
    /// Time from the start of the command until its reply was written.
    std::chrono::nanoseconds duration {0};
    /// The first parameters of the document, each under its key; docs/hosting.md says in the section on the audit trail
    /// how many, and how they are cut. Empty for unknown commands, since these may be misspelt logins, and if there was
    /// neither observer nor audit trail when the command started.
    QMap<QString, QString> parameters {};
    /// The split that the host used for a showLive or showTrack.
    std::optional<int> split {};
};

/// Called with each event; see OrvaneServer::setClientObserver().
using OrvaneClientObserver = std::function<void(const OrvaneClientEvent& event)>;

} // namespace OrvaneInterface
