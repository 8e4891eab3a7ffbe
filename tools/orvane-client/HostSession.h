#pragma once

#include "CommandRequest.h"
#include "HostConnection.h"
#include "Outcome.h"
#include "Reply.h"

#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>

namespace OrvaneClient {

struct Options;

/// Asks, on a connection of its own, whether the host accepts a login. Nothing but a command that the host does not
/// know can tell: it is rejected after a login, and ignored without one. The end of the connection is the sign that it
/// has been read.
class LoginProbe : public QObject {
    Q_OBJECT

public:
    /// \a certificate: the one that the host has shown, and must have again.
    LoginProbe(const Options& options, const QSslCertificate& certificate, std::optional<CommandRequest> login,
        QObject* parent);

Q_SIGNALS:
    void answered(bool isLoggedIn);
    void failed();

private:
    HostConnection connection;
};

/// A client's time with a host: it connects, logs in, and makes one exchange after another. It prints nothing.
class HostSession : public QObject {
    Q_OBJECT

public:
    /// \a options live longer.
    HostSession(const Options& options, std::optional<CommandRequest> login, QObject* parent);

    void start();
    /// Sends a command, and waits for what is expected; exchangeFinished() or broken() follows. One at a time. Connects
    /// anew where the connection has ended.
    void exchange(const CommandRequest& command, const Expectation& expectation);
    /// Gives up waiting, without a signal. An answer that comes all the same is reported as any other one.
    void cancel();
    bool isWaiting() const { return pending.has_value(); }
    /// Ends the session, finished() follows: at once, or when the host has closed too where it gave no answer to the
    /// last command, since only then it is sure to have read it.
    void finish();

    QSslCertificate certificate() const { return connection.certificate(); }

Q_SIGNALS:
    void ready();
    /// Every message of the host, whether it is waited for or not.
    void replyReceived(const Reply& reply);
    /// \a problem is empty when all is well.
    void exchangeFinished(ExitStatus status, const QString& problem);
    /// There is no connection any more.
    void broken(ExitStatus status, const QString& problem);
    void finished();
    void traced(const QString& lines);
    /// Something that a person wants to know.
    void noticed(const QString& what);

private:
    void handleReady();
    void handleFailed(const QString& reason);
    void send();
    void handleMessage(const QByteArray& message);
    bool isEndOfQuery(const Reply& reply);
    void handleBytesSent();
    void handleClosed();
    void handleFlooded();
    void handleTimeout();
    void handleSilence();
    void handleProbe(bool accepted);
    void endWaiting();
    void endExchange(ExitStatus status, const QString& problem);

    const Options& options;
    HostConnection connection;
    QTimer timer;
    QTimer silence;
    std::optional<CommandRequest> login;
    CommandRequest request; ///< the last one
    std::optional<Expectation> pending;
    std::unique_ptr<LoginProbe> probe;
    bool isLoggedIn = false; ///< as far as it is known: without a login a host answers nothing
    bool loginChecked = false; ///< the host has been asked, and may not have answered yet
    int endsOfQueries = 0;
    int presentEnd = 0; ///< the number of the one behind the present command; 0: none was sent
    bool lastUnanswered = false;
    bool finishing = false;
};

} // namespace OrvaneClient
