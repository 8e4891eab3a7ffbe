#include "HostSession.h"

#include "CommandCatalogue.h"
#include "Options.h"

#include <QMetaObject>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

using namespace std::chrono_literals;

/// After so long without an answer the host is asked why, or after a third of the timeout.
constexpr std::chrono::milliseconds Silence = 300ms;

/// A command that no host knows, and its number; 0: behind the login.
constexpr QLatin1String EndOfQuery("end-of-query-");

CommandRequest endOfQuery(int number)
{
    const QString name = EndOfQuery + QString::number(number);
    return {name, (u'<' + name + "/>"_L1).toUtf8()};
}

QString problemWith(const Reply& reply, ExitStatus status)
{
    if (status == ExitStatus::Rejected)
        return u"%1 was rejected: %2"_s.arg(reply.commandName(), reply.reason());
    if (reply.kind() == Reply::Kind::TooMuch)
        return u"the answer is too much to be read: %1"_s.arg(reply.reason());
    if (status == ExitStatus::BadAnswer)
        return u"the answer is no well-formed XML: %1"_s.arg(reply.reason());
    return {};
}

} // namespace

LoginProbe::LoginProbe(
    const Options& options, const QSslCertificate& certificate, std::optional<CommandRequest> login, QObject* parent)
    : QObject(parent)
    , connection(*ServerTrust::pinned(fingerprintOf(certificate)), false, this)
{
    connect(&connection, &HostConnection::ready, this, [this, login = std::move(login)] {
        if (login)
            connection.send(login->document);
        connection.send(endOfQuery(0).document);
        connection.endSending();
    });
    connect(&connection, &HostConnection::messageReceived, this, [this] {
        connection.disconnect(this);
        Q_EMIT answered(true);
    });
    connect(&connection, &HostConnection::closed, this, [this] { Q_EMIT answered(false); });
    connect(&connection, &HostConnection::failed, this, &LoginProbe::failed);
    connect(&connection, &HostConnection::flooded, this, &LoginProbe::failed);
    connection.open(options.host, options.port, options.timeout);
}

HostSession::HostSession(const Options& options, std::optional<CommandRequest> login, QObject* parent)
    : QObject(parent)
    , options(options)
    , connection(options.trust, options.trace, this)
    , login(std::move(login))
{
    timer.setSingleShot(true);
    silence.setSingleShot(true);
    connect(&timer, &QTimer::timeout, this, &HostSession::handleTimeout);
    connect(&silence, &QTimer::timeout, this, &HostSession::handleSilence);
    connect(&connection, &HostConnection::ready, this, &HostSession::handleReady);
    connect(&connection, &HostConnection::failed, this, &HostSession::handleFailed);
    connect(&connection, &HostConnection::closed, this, &HostSession::handleClosed);
    connect(&connection, &HostConnection::flooded, this, &HostSession::handleFlooded);
    connect(&connection, &HostConnection::messageReceived, this, &HostSession::handleMessage);
    connect(&connection, &HostConnection::bytesSent, this, &HostSession::handleBytesSent);
    connect(&connection, &HostConnection::traced, this, &HostSession::traced);
    connect(&connection, &HostConnection::noticed, this, &HostSession::noticed);
}

void HostSession::start()
{
    isLoggedIn = false;
    loginChecked = false;
    connection.open(options.host, options.port, options.timeout);
}

/// The host never answers a login, so that there is nothing to wait for.
void HostSession::handleReady()
{
    if (login)
        connection.send(login->document);
    if (pending)
        send();
    else
        Q_EMIT ready();
}

void HostSession::handleFailed(const QString& reason)
{
    endWaiting();
    Q_EMIT broken(ExitStatus::NoConnection, reason);
}

void HostSession::exchange(const CommandRequest& command, const Expectation& expectation)
{
    request = command;
    pending = expectation;
    if (connection.hasEnded())
        start();
    else
        send();
}

void HostSession::send()
{
    if (request.command == LoginCommand) {
        login = request;
        loginChecked = false;
    }
    // Before the command, so that nothing slow comes before its answer.
    if (!isLoggedIn && !loginChecked && !pending->isNothing()) {
        loginChecked = true;
        connection.send(endOfQuery(0).document);
    }
    presentEnd = 0;
    lastUnanswered = pending->isNothing();
    timer.start(options.timeout);
    if (!pending->isNothing())
        silence.start(std::min(Silence, options.timeout / 3));
    connection.send(request.document);
    // Never inside this call, and also when all has gone out already.
    QMetaObject::invokeMethod(this, &HostSession::handleBytesSent, Qt::QueuedConnection);
}

void HostSession::cancel()
{
    if (!pending)
        return;
    endWaiting();
    if (!connection.isReady())
        connection.abort();
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
    isLoggedIn = true;
    if (isEndOfQuery(reply))
        return;
    Q_EMIT replyReceived(reply);
    if (!pending)
        return;
    const std::optional<ExitStatus> status = pending->judge(reply);
    if (status)
        endExchange(*status, problemWith(reply, *status));
    else if (timer.remainingTime() == 0) // a host that sends without a pause leaves the event loop no time for it
        handleTimeout();
}

/// The host answers in the order of the commands: when it comes to the one behind the present command, that has no
/// answer. Those of earlier commands may come late.
bool HostSession::isEndOfQuery(const Reply& reply)
{
    if (reply.kind() != Reply::Kind::Rejected || !reply.commandName().startsWith(EndOfQuery))
        return false;
    const int number = reply.commandName().mid(EndOfQuery.size()).toInt();
    if (number < 0 || number > endsOfQueries)
        return false;
    if (number > 0 && number == presentEnd && pending && !pending->isNotice()) // else a late one
        endExchange(ExitStatus::NoAnswer, u"the host gives no %1"_s.arg(pending->description()));
    return true;
}

/// A host that is silent may be busy. Or it has been asked something that it does not answer, or it does not accept the
/// account: these show at once when it is asked for them.
void HostSession::handleSilence()
{
    if (!pending)
        return;
    presentEnd = ++endsOfQueries;
    connection.send(endOfQuery(presentEnd).document);
    if (isLoggedIn)
        return;
    probe = std::make_unique<LoginProbe>(options, connection.certificate(), login, nullptr);
    connect(probe.get(), &LoginProbe::answered, this, &HostSession::handleProbe);
}

void HostSession::handleProbe(bool accepted)
{
    probe.release()->deleteLater();
    if (accepted || isLoggedIn || connection.incompleteLength() > 0 || !pending)
        return;
    endExchange(ExitStatus::NotLoggedIn,
        login ? u"not logged in: the host does not accept the account, and answers nothing"_s
              : u"not logged in: without a login a host answers nothing"_s);
}

void HostSession::handleTimeout()
{
    if (finishing)
        Q_EMIT finished();
    else if (pending)
        endExchange(
            ExitStatus::NoAnswer, u"no %1 within %2"_s.arg(pending->description(), durationText(options.timeout)));
}

void HostSession::handleClosed()
{
    timer.stop();
    if (finishing) {
        Q_EMIT finished();
        return;
    }
    QString problem = u"%1:%2 closed the connection"_s.arg(options.host).arg(options.port);
    if (connection.incompleteLength() > 0)
        problem += u" in the middle of a message, after %1 bytes"_s.arg(connection.incompleteLength());
    else if (pending)
        problem += u", no %1"_s.arg(pending->description());
    endWaiting();
    Q_EMIT broken(ExitStatus::NoAnswer, problem);
}

void HostSession::handleFlooded()
{
    endWaiting();
    Q_EMIT broken(
        ExitStatus::BadAnswer, u"the answer has no end: given up after %1 bytes"_s.arg(connection.incompleteLength()));
}

void HostSession::endWaiting()
{
    timer.stop();
    silence.stop();
    pending.reset();
}

void HostSession::endExchange(ExitStatus status, const QString& problem)
{
    endWaiting();
    Q_EMIT exchangeFinished(status, problem);
}

void HostSession::finish()
{
    if (finishing)
        return;
    finishing = true;
    if (!lastUnanswered || connection.hasEnded()) {
        QMetaObject::invokeMethod(this, &HostSession::finished, Qt::QueuedConnection);
        return;
    }
    timer.start(options.timeout);
    connection.endSending();
}

} // namespace OrvaneClient
