#pragma once

#include "Command.h"
#include "Outcome.h"
#include "Reply.h"
#include "Trust.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QSslCertificate>
#include <QSslSocket>

namespace OrvaneClient {

class Console;
class Settings;

/// From now on SIGINT, SIGTERM and SIGHUP do not end the program, but the waits of hosts.
void catchSignals();

/// The number of the last one; 0: there was none.
inline int caughtSignal = 0;

/**
 * A host, and the connection to it. An operation blocks until it has ended, its time is over, or a signal was caught.
 * It throws if it has not succeeded.
 *
 * An answer is never taken for that of another command. Hosts answer in order, so between two commands goes one that no
 * host knows, a fence: what comes before its rejection is not the second one's answer. Behind a command that is
 * unanswered goes one as well: when it is rejected, no answer will come. A host that does not even come to the fence is
 * disconnected.
 */
class Host {
public:
    const Settings& settings; ///< what the user wants
    Console& console; ///< where it is told
    /// For each message of the host, except the rejections of fences.
    std::function<void(const Reply& reply)> listener = [](const Reply&) {};

    /// Settings and console live longer. Without \a login it does not log in.
    Host(const Settings& settings, Console& console, std::optional<CommandRequest> login);
    ~Host() { socket.abort(); }
    Q_DISABLE_COPY_MOVE(Host)

    /// Connects, judges the certificate, and sends nothing. Does nothing if there is a connection.
    /// \return the certificate
    QSslCertificate connect();
    /// Logs in. Does nothing if that was done.
    void logIn();
    /// Sends a command and waits for its answer. Connects and logs in if need be. The command may be a login: the host
    /// gets it on a connection of its own, or an earlier one would stay valid if it fails.
    void exchange(const CommandRequest& request);

    /// Receives messages until the condition holds. \return whether it does; no at the deadline or a signal
    bool waitUntil(const std::function<bool()>& condition, QDeadlineTimer deadline);

    bool isConnected() const { return isOpen; }
    /// That its lists have, by the keys that take them.
    const QMap<QString, QStringList>& names() const { return knownNames; }
    /// How long after the last command the host began to send, if it did: what the host, and not this program, takes.
    qint64 millisecondsToAnswer() const { return answeredAfter < 0 ? sinceSent.elapsed() : answeredAfter; }

private:
    void open();
    void reset();
    Outcome connectionFailure() const;
    Outcome giveUp(const CommandRequest& request, std::chrono::milliseconds limit);
    void trace(QLatin1String mark, const QByteArray& bytes);
    void send(const QByteArray& message);
    void sendFence();
    bool awaitFence(QDeadlineTimer deadline);
    void endSending(QDeadlineTimer deadline);
    void receive();
    void handle(const Reply& reply);
    Outcome endOfConnection() const;

    const Trust trust;
    const std::chrono::milliseconds timeout;
    std::optional<CommandRequest> login;
    QSslSocket socket;
    MessageCutter cutter;
    std::optional<CommandRequest> awaited; ///< while an exchange waits for it
    std::optional<Outcome> outcome; ///< of the present exchange
    QMap<QString, QStringList> knownNames;
    QElapsedTimer sinceSent;
    qint64 answeredAfter = -1; ///< below 0: not yet
    int fencesSent = -1;
    int fencesPassed = -1;
    int fenceBefore = -1; ///< the command of the present exchange, or the last one
    bool isReached = false; ///< by TCP
    bool isOpen = false; ///< and trusted
    bool isLoggedIn = false;
};

} // namespace OrvaneClient
