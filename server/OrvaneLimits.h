#pragma once

#include <QtGlobal>

#include <chrono>

namespace OrvaneInterface {

/**
 * Limits on what a client may take of the host; see OrvaneServer::setLimits().
 *
 * 0, the default, means no limit. A client that exceeds a limit is disconnected. docs/hosting.md says what becomes of
 * its commands and replies, and when a limit can affect an honest client. No member will ever be added: compiled hosts
 * contain this record.
 */
struct OrvaneLimits {
    /// Connected clients. Further ones wait a moment for a slot, then are disconnected before their TLS handshake. The
    /// slot of a client that has left becomes free once the event loop has noticed.
    int maxClients = 0;
    /// Invalid logins per connection; the next one exceeds the limit.
    int maxInvalidLogins = 0;
    /// Length of a message in UTF-16 code units, without its terminator. Leave some room for non-ASCII characters.
    qint64 maxMessageLength = 0;
    /// The same before the login. maxMessageLength applies there, too, so only a lower value has an effect.
    qint64 maxMessageLengthBeforeLogin = 0;
    /// Bytes of replies that the client has not read, including responses of TLS itself. docs/hosting.md says when it
    /// is checked, and how many are allowed before the login.
    qint64 maxUnsentBytes = 0;
    /// From the connection to the end of the TLS handshake, accurate to a tenth of the limit. Long calls of the host
    /// extend the time.
    std::chrono::milliseconds handshakeTimeout {0};
    /// From the connection to a valid login, measured in the same way.
    std::chrono::milliseconds loginTimeout {0};

    /// Limits suitable for a control room; docs/hosting.md explains the values.
    static OrvaneLimits controlRoom()
    {
        OrvaneLimits limits;
        limits.maxClients = 50;
        limits.maxInvalidLogins = 3;
        limits.maxMessageLength = 1'000'000;
        limits.maxMessageLengthBeforeLogin = 1'000;
        limits.maxUnsentBytes = 4'000'000;
        limits.handshakeTimeout = std::chrono::seconds(10);
        limits.loginTimeout = std::chrono::seconds(30);
        return limits;
    }
};

} // namespace OrvaneInterface
