#pragma once

#include <QtGlobal>

#include <chrono>

namespace OrvaneInterface {

/**
 * What a client may take of the host, at most; see OrvaneServer::setLimits().
 *
 * 0 is no limit, and everything is 0 at first. Whoever exceeds a limit is disconnected, with one line in the log.
 * Commands that came before have been carried out; their replies may be lost with the connection.
 * The record never gets another member: it is a part of compiled hosts.
 */
struct OrvaneLimits {
    /// Clients at once. Further ones wait for a place for a tenth of a second, a hundred of them at most, and are
    /// then disconnected, before their TLS handshake. The place of a client that has left is free when the event loop
    /// has seen it.
    int maxClients = 0;
    /// Logins of one connection that are not valid; the next one exceeds the limit.
    int maxInvalidLogins = 0;
    /// Characters of a message, in UTF-16, without its end. A character beyond ASCII of which the network delivers a
    /// part at a time can count as up to four: leave some room.
    qint64 maxMessageLength = 0;
    /// The same for a client that is not logged in, where that is to be less.
    qint64 maxMessageLengthBeforeLogin = 0;
    /// Bytes of replies that wait for the client to read. Looked at when it sends another command, so that a client
    /// that reads each reply before it goes on is never over it, however long the reply and slow the network. One that
    /// sends commands in advance can be, however fast it reads: the replies to what came in one read are made before
    /// the network takes them. What TLS itself answers counts, too; before the login, 64 KiB are the most.
    qint64 maxUnsentBytes = 0;
    /// From the connection to the end of the TLS handshake, to within a tenth. Time in which the host's thread stands
    /// still does not count.
    std::chrono::milliseconds handshakeTimeout {0};
    /// From the connection to a valid login, in the same way.
    std::chrono::milliseconds loginTimeout {0};

    /// Limits that are fit for a control room; docs/hosting.md has how they were chosen.
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
