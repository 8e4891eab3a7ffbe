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

/**
 * A host and the connection to it. An operation blocks until it has finished, times out, or a signal is caught. On
 * failure it throws.
 *
 * An answer is never taken for that of another command. Hosts answer in order, so a fence is sent between two commands:
 * a command that no host knows. What comes before its rejection does not answer the second command. A fence also
 * follows an unanswered command: once it is rejected, no answer will come. If the host does not reach the fence in
 * time, the connection is closed.
 */
class Host {
public:
    const Settings& settings; ///< what the user wants
    Console& console; ///< where it is reported
    /// Called with each message of the host, except rejections of fences.
    std::function<void(const Reply& reply)> listener = [](const Reply&) {};

    /// Settings and console must outlive it. Without \a login it does not log in.
    Host(const Settings& settings, Console& console, std::optional<CommandRequest> login);
    ~Host() { socket.abort(); }
    Q_DISABLE_COPY_MOVE(Host)

    /// Connects and judges the certificate; sends nothing. Does nothing if connected.
    /// \return the certificate
    QSslCertificate connect();
    /// Logs in. Does nothing if logged in.
    void logIn();
    /// Sends a command and waits for its answer. Connects and logs in if necessary. A login is sent on a new
    /// connection: on the old one, an earlier login would stay valid if it failed.
    void exchange(const CommandRequest& request);

    /// Receives messages until the condition holds. \return false at the deadline or a signal
    bool waitUntil(const std::function<bool()>& condition, QDeadlineTimer deadline);

    bool isConnected() const { return isOpen; }
    /// The names in the host's lists, by the keys that take them.
    const QMap<QString, QStringList>& names() const { return knownNames; }
    /// From the last command until the host began to send, or until now: the host's time, not this program's.
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
    std::optional<CommandRequest> awaited; ///< set while an exchange waits
    std::optional<Outcome> outcome; ///< of the current exchange
    QMap<QString, QStringList> knownNames;
    QElapsedTimer sinceSent;
    qint64 answeredAfter = -1; ///< below 0: not yet
    int fencesSent = -1;
    int fencesPassed = -1;
    int fenceBefore = -1; ///< the last fence before the command of the current or last exchange
    bool isReached = false; ///< by TCP
    bool isOpen = false; ///< by TLS, and trusted
    bool isLoggedIn = false;
};

} // namespace OrvaneClient
