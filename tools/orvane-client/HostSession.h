#pragma once

#include "CommandRequest.h"
#include "HostConnection.h"
#include "Outcome.h"
#include "Reply.h"

#include <QObject>
#include <QTimer>

#include <optional>

namespace OrvaneClient {

struct Options;

/// A client's time with a host: it connects, logs in, and makes one exchange after another. It prints nothing.
class HostSession : public QObject {
    Q_OBJECT

public:
    HostSession(const Options& options, std::optional<CommandRequest> login, QObject* parent);

    void start();
    /// Sends a command, and waits for what is expected; exchangeFinished() or broken() follows. One at a time.
    void exchange(const CommandRequest& request, const Expectation& expectation);
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
    /// There is no connection any more. The last signal.
    void broken(ExitStatus status, const QString& problem);
    void finished();
    void traced(const QString& lines);

private:
    void handleReady();
    void handleMessage(const QByteArray& message);
    void handleBytesSent();
    void handleClosed();
    void handleTimeout();
    void endExchange(ExitStatus status, const QString& problem);

    HostConnection connection;
    QTimer timer;
    QString host;
    quint16 port;
    std::chrono::milliseconds timeout;
    std::optional<CommandRequest> login;
    std::optional<Expectation> pending;
    bool lastUnanswered = false;
    bool finishing = false;
};

} // namespace OrvaneClient
