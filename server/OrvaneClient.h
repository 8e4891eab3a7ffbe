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
 * A client of a server, as it was when the server was asked for it; it does not change afterwards, and outlives client
 * and server.
 *
 * Copies share their data, so a copy costs next to nothing. All data is behind one pointer: a later version can tell
 * more of a client without a change for compiled hosts. Thread: any one at a time.
 */
class ORVANE_INTERFACE_EXPORT OrvaneClient {
public:
    /// What a client can log in with.
    enum class Account : quint8 {
        None, ///< not logged in
        System, ///< the fixed account; also for a client that has logged in with both
        Host ///< the account that the host grants
    };

    /// No client.
    OrvaneClient();
    /// A copy, which shares the data.
    OrvaneClient(const OrvaneClient& other);
    /// Leaves no client behind.
    OrvaneClient(OrvaneClient&& other) noexcept;
    /// Becomes a copy, which shares the data.
    OrvaneClient& operator=(const OrvaneClient& other);
    /// Takes over the data.
    OrvaneClient& operator=(OrvaneClient&& other) noexcept;
    /// The data goes with the last copy.
    ~OrvaneClient();

    /// True for one that was made without a server, and for currentClient() outside of all calls.
    bool isNull() const;
    /// 1 or more, and never the same for two clients of one process; 0 for no client.
    quint64 id() const;
    /// Null where the client had left before it was accepted.
    QHostAddress address() const;
    /// The client's own port.
    quint16 port() const;
    /// When the server accepted it, in UTC.
    QDateTime connectedSince() const;
    /// Whether its TLS handshake is done.
    bool isEncrypted() const;
    /// Null unless the server asks for certificates and the client has shown one. With QSslSocket::QueryPeer nobody has
    /// verified it.
    QSslCertificate certificate() const;
    /// With which it has logged in.
    Account account() const;
    /// The user name of the account; empty before the login. It may be empty after it, too: ask account().
    QString accountName() const;

private:
    friend class ClientEvents;
    QSharedDataPointer<OrvaneClientData> d;
};

/**
 * Something that a client has done, or that has been done to it; see OrvaneServer::setClientObserver().
 *
 * Only the library makes one. A later version may add members at the end, and types: ignore those that you do not know.
 */
struct OrvaneClientEvent {
    /// With the members that an event of the type has, besides its client.
    enum class Type : quint8 {
        Connected, ///< one of OrvaneServer::clients() from now on
        Encrypted, ///< its TLS handshake is done
        HandshakeFailed, ///< reason
        LoggedIn, ///< user
        InvalidLogin, ///< user
        Command, ///< command, outcome, and where it was carried out duration, parameters and split
        RefusedDocument, ///< command, reason
        ExceededLimit, ///< reason; not one of clients() any more. Disconnected follows, but for maxClients
        Disconnected ///< reason; not one of clients() any more
    };
    /// What the client was told of its command.
    enum class Outcome : quint8 { NoReply, Answered, Accepted, Rejected, NotLoggedIn };

    /// What has happened.
    Type type = Type::Connected;
    /// As it is after the event.
    OrvaneClient client {};
    /// The name of the limit, why the document was refused, or in the words of Qt or of the TLS library.
    QString reason {};
    /// As the client has given it.
    QString user {};
    /// The name of the command, as the client has given it.
    QString command {};
    /// What has come of the command.
    Outcome outcome = Outcome::NoReply;
    /// From the beginning of the command until its reply was written.
    std::chrono::nanoseconds duration {0};
    /// By their keys, those that come first in the document, 16 at most. Keys and values of more than 200 characters
    /// are cut, and end in "...". Empty for an unknown command, which may be a login with a spelling mistake, and where
    /// nobody listened when the command began.
    QMap<QString, QString> parameters {};
    /// The split that the host has used for a showLive or a showTrack.
    std::optional<int> split {};
};

/// Called with each event; see OrvaneServer::setClientObserver().
using OrvaneClientObserver = std::function<void(const OrvaneClientEvent& event)>;

} // namespace OrvaneInterface
