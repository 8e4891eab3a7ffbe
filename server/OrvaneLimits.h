#pragma once

#include <QtGlobal>

#include <chrono>

namespace OrvaneInterface {

/**
 * What a client may take of the host, at most; see OrvaneServer::setLimits().
 *
 * 0 is no limit, and everything is 0 at first. Whoever exceeds a limit is disconnected, with one line in the log.
 * The record never gets another member: it is a part of compiled hosts.
 */
struct OrvaneLimits {
    /// Clients at once. One that comes when so many are there is disconnected before its TLS handshake. Of one that has
    /// left the place is free as soon as the event loop has seen it.
    int maxClients = 0;
    /// Logins of one connection that are not valid; the next one exceeds the limit.
    int maxInvalidLogins = 0;
    /// Characters of a message, in UTF-16, without its end. Messages before it are carried out.
    qint64 maxMessageLength = 0;
    /// The same for a client that is not logged in, where that is to be less.
    qint64 maxMessageLengthBeforeLogin = 0;
    /// Bytes of replies that wait for the client to read. Looked at when it sends another command, so that a client
    /// that reads each reply before it goes on is never over it, however long the reply and slow the network.
    qint64 maxUnsentBytes = 0;
    /// From the connection to the end of the TLS handshake. Time in which the host's thread stands still does not
    /// count.
    std::chrono::milliseconds handshakeTimeout {0};
    /// From the connection to a valid login. Time in which the host's thread stands still does not count.
    std::chrono::milliseconds loginTimeout {0};
};

} // namespace OrvaneInterface
