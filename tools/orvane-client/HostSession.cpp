#include "HostSession.h"

#include "Options.h"
#include "Outcome.h"

#include <QMetaObject>

#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

QString problemWith(const Reply& reply, ExitStatus status)
{
    if (status == ExitStatus::Rejected)
        return u"%1 was rejected: %2"_s.arg(reply.commandName(), reply.reason());
    if (status == ExitStatus::BadAnswer)
        return u"the answer is no well-formed XML: %1"_s.arg(reply.reason());
    return {};
}

} // namespace

HostSession::HostSession(const Options& options, std::optional<CommandRequest> login, QObject* parent)
    : QObject(parent)
    , connection(options.trust, options.trace, this)
    , host(options.host)
    , port(options.port)
    , timeout(options.timeout)
    , login(std::move(login))
{
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, this, &HostSession::handleTimeout);
    connect(&connection, &HostConnection::ready, this, &HostSession::handleReady);
    connect(&connection, &HostConnection::failed, this,
        [this](const QString& reason) { Q_EMIT broken(ExitStatus::NoConnection, reason); });
    connect(&connection, &HostConnection::closed, this, &HostSession::handleClosed);
    connect(&connection, &HostConnection::messageReceived, this, &HostSession::handleMessage);
    connect(&connection, &HostConnection::bytesSent, this, &HostSession::handleBytesSent);
    connect(&connection, &HostConnection::traced, this, &HostSession::traced);
}

void HostSession::start()
{
    connection.open(host, port, timeout);
}

/// The host never answers a login, so that there is nothing to wait for.
void HostSession::handleReady()
{
    if (login)
        connection.send(login->document);
    Q_EMIT ready();
}

void HostSession::exchange(const CommandRequest& request, const Expectation& expectation)
{
    pending = expectation;
    lastUnanswered = expectation.isNothing();
    timer.start(timeout);
    connection.send(request.document);
    // Never inside this call, and also when all has gone out already.
    QMetaObject::invokeMethod(this, &HostSession::handleBytesSent, Qt::QueuedConnection);
}

void HostSession::handleBytesSent()
{
    if (pending && pending->isNothing() && connection.allSent())
        endExchange(ExitStatus::Success, {});
}

void HostSession::handleMessage(const QByteArray& message)
{
    if (finishing)
        return;
    const Reply reply(message);
    Q_EMIT replyReceived(reply);
    if (!pending)
        return;
    const std::optional<ExitStatus> status = pending->judge(reply);
    if (status)
        endExchange(*status, problemWith(reply, *status));
}

void HostSession::handleTimeout()
{
    if (finishing)
        Q_EMIT finished();
    else if (pending)
        endExchange(ExitStatus::NoAnswer, u"no %1 within %2"_s.arg(pending->description(), durationText(timeout)));
}

void HostSession::handleClosed()
{
    timer.stop();
    if (finishing) {
        Q_EMIT finished();
        return;
    }
    QString problem = u"%1:%2 closed the connection"_s.arg(host).arg(port);
    if (connection.incompleteLength() > 0)
        problem += u" in the middle of a message, after %1 bytes"_s.arg(connection.incompleteLength());
    else if (pending)
        problem += u", no %1"_s.arg(pending->description());
    Q_EMIT broken(ExitStatus::NoAnswer, problem);
}

void HostSession::endExchange(ExitStatus status, const QString& problem)
{
    timer.stop();
    pending.reset();
    Q_EMIT exchangeFinished(status, problem);
}

void HostSession::finish()
{
    if (finishing)
        return;
    finishing = true;
    if (!lastUnanswered) {
        QMetaObject::invokeMethod(this, &HostSession::finished, Qt::QueuedConnection);
        return;
    }
    timer.start(timeout);
    connection.endSending();
}

} // namespace OrvaneClient
