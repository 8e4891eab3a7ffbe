#include "Host.h"

#include "Console.h"
#include "Protocol.h"
#include "Settings.h"
#include "System.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTimer>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

using namespace std::chrono_literals;

/// After this time without an answer, or a third of the timeout if that is shorter, a fence is sent.
constexpr std::chrono::milliseconds Silence = 300ms;

constexpr QLatin1String FenceCommand("end-of-query-");

constexpr qsizetype LongestMessage = qsizetype(1) << 27; ///< more than any host sends, and fits in memory

} // namespace

Host::Host(const Settings& settings, Console& console, std::optional<CommandRequest> login)
    : settings(settings)
    , console(console)
    , trust(settings)
    , timeout(settings.duration("timeout"))
    , login(std::move(login))
{
    socket.setSslConfiguration(trust.configuration());
    socket.setReadBufferSize(1 << 16); // so that a host that never stops sending cannot outlast the timeout
    // Errors are judged after the handshake, together with the certificate; nothing is sent before.
    QObject::connect(&socket, &QSslSocket::sslErrors, &socket, [this] { socket.ignoreSslErrors(); });
    QObject::connect(&socket, &QSslSocket::connected, &socket, [this] { isReached = true; });
}

bool Host::waitUntil(const std::function<bool()>& condition, QDeadlineTimer deadline)
{
    QTimer alarm; // ends the wait for events
    alarm.setTimerType(Qt::PreciseTimer);
    const auto isOver = [&] {
        receive();
        return condition() || deadline.hasExpired() || caughtSignal != 0;
    };
    // On Windows the wait begins even if it would be over, because of an event that another thread has posted.
    QAbstractEventDispatcher* const dispatcher = QAbstractEventDispatcher::instance();
    QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &alarm, [&] {
        if (isOver())
            dispatcher->wakeUp();
    });
    while (!isOver()) {
        if (!deadline.isForever())
            alarm.start(std::chrono::milliseconds(deadline.remainingTime() + 1));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return condition();
}

QSslCertificate Host::connect()
{
    for (QString told; !isOpen;) {
        const Outcome failure = attempt([this] { open(); });
        if (failure.status == ExitStatus::Success)
            break;
        if (!failure.mayPass || !settings.has("retry") || caughtSignal != 0)
            throw Outcome(failure);
        if (std::exchange(told, failure.problem) != failure.problem)
            console.problem(failure.problem + u"; trying again"_s);
        waitUntil([] { return false; }, QDeadlineTimer(1s));
    }
    return socket.peerCertificate();
}

void Host::open()
{
    reset();
    auto abandon = qScopeGuard([this] { reset(); });
    socket.connectToHostEncrypted(settings.host, settings.port);
    waitUntil([this] { return socket.isEncrypted() || socket.state() == QAbstractSocket::UnconnectedState; },
        QDeadlineTimer(timeout));
    if (!socket.isEncrypted())
        throw connectionFailure();
    const QString notice = trust.judge(socket.peerCertificate(), socket.sslHandshakeErrors());
    if (!notice.isEmpty())
        console.problem(notice);
    isOpen = true;
    abandon.dismiss();
}

Outcome Host::connectionFailure() const
{
    const bool isInTime = socket.state() == QAbstractSocket::UnconnectedState;
    const bool isFull = isReached && isInTime && socket.error() == QAbstractSocket::RemoteHostClosedError;
    const QString what = isReached ? u"no TLS connection to"_s
        : isInTime                 ? u"cannot connect to"_s
                                   : u"no connection to"_s;
    const QString why = isInTime ? u": "_s + socket.errorString().simplified() : u" within "_s + durationText(timeout);
    const QString hint = isFull ? u" (the host may have reached its limit of clients)"_s : QString();
    return {ExitStatus::NoConnection, u"%1 %2%3%4"_s.arg(what, settings.address(), why, hint), true};
}

void Host::reset()
{
    socket.abort();
    cutter = {};
    fencesSent = fencesPassed = fenceBefore = -1;
    isReached = isOpen = isLoggedIn = false;
}

/// A host never answers a login. A fence shows whether it was accepted: the host rejects the fence after a login, and
/// ignores it without one. But a silent host may be busy. So the client ends its side of the connection: when the host
/// then closes, it has read everything.
void Host::logIn()
{
    if (isOpen && isLoggedIn)
        return;
    connect();
    const QDeadlineTimer deadline(timeout);
    if (login)
        send(login->document);
    sendFence();
    isLoggedIn = awaitFence(QDeadlineTimer(std::min(Silence, timeout / 3)));
    if (isLoggedIn)
        return;
    if (!isOpen)
        throw endOfConnection();
    endSending(deadline);
    if (awaitFence(deadline)) {
        open(); // the old connection can carry no more commands
        if (login)
            send(login->document);
        isLoggedIn = true;
        return;
    }
    Outcome failure = endOfConnection();
    if (isOpen)
        failure.problem = u"no answer to the login within %1"_s.arg(durationText(timeout));
    else if (cutter.incompleteLength() == 0)
        failure = {ExitStatus::NotLoggedIn,
            login ? u"not logged in: the host did not accept the account (it sent no answer)"_s
                  : u"not logged in: a host sends no answer before a login"_s};
    reset();
    throw Outcome(failure);
}

void Host::exchange(const CommandRequest& request)
{
    sinceSent.start();
    if (request.command == LoginCommand) {
        if (isLoggedIn)
            reset();
        login = request;
        logIn();
        return;
    }
    logIn();
    const bool isRefresh = request.answerRoot == RefreshFinishedNotice && !settings.has("timeout");
    const std::chrono::milliseconds limit = isRefresh ? 60s : timeout;
    const QDeadlineTimer deadline(limit);
    const auto isDone = [this] { return outcome || !isOpen; };
    outcome.reset();
    awaited = request;
    answeredAfter = -1;
    if (fencesSent == fenceBefore) // further messages for the previous command precede its rejection
        sendFence();
    fenceBefore = fencesSent;
    sinceSent.start(); // again, to leave out the login
    send(request.document);
    if (!waitUntil(isDone, QDeadlineTimer(std::min(Silence, limit / 3)))) {
        sendFence();
        waitUntil([&] { return isDone() || (!request.awaitsNotice && fencesPassed == fencesSent); }, deadline);
    }
    if (!outcome)
        outcome = isOpen ? giveUp(request, limit) : endOfConnection();
    awaited.reset();
    if (outcome->status != ExitStatus::Success)
        throw Outcome(*outcome);
}

Outcome Host::giveUp(const CommandRequest& request, std::chrono::milliseconds limit)
{
    const bool hasPassed = fencesPassed == fencesSent;
    const QString what = request.answerDescription();
    QString problem = hasPassed && !request.awaitsNotice ? u"the host sent no %1"_s.arg(what)
                                                         : u"no %1 within %2"_s.arg(what, durationText(limit));
    if (!hasPassed)
        reset(); // otherwise a late answer would be taken for that of the next command
    else if (request.answerRoot == RefreshFinishedNotice)
        problem = request.awaitsNotice ? problem + u"; the refresh is still running (use a longer --timeout)"_s
                                       : u"%1 is shown when the refresh has finished"_s.arg(request.answerRoot);
    return {ExitStatus::NoAnswer, problem};
}

/// Prints each line after a mark, without the password of a login.
void Host::trace(QLatin1String mark, const QByteArray& bytes)
{
    static const QRegularExpression password(u"(?s)(<(?:[\\w.-]+:)?password\\b[^>]*>).*?(</|$)"_s);
    static const QRegularExpression lineStart(u"(?<=\\n)(?!$)"_s);
    if (!settings.has("trace") || bytes.isEmpty())
        return;
    QString text = textOfBytes(bytes);
    if (mark == "> "_L1)
        text.replace(password, u"\\1***\\2"_s);
    for (const QString& line : text.split(lineStart))
        console.trace(mark + line);
}

void Host::send(const QByteArray& message)
{
    const QByteArray bytes = message + OrvaneInterface::MessageTerminator.data();
    trace("> "_L1, bytes);
    socket.write(bytes);
}

void Host::sendFence()
{
    const QString name = FenceCommand + QString::number(++fencesSent);
    send((u'<' + name + "/>"_L1).toLatin1());
}

bool Host::awaitFence(QDeadlineTimer deadline)
{
    return waitUntil([this] { return fencesPassed == fencesSent || !isOpen; }, deadline) && fencesPassed == fencesSent;
}

/// The host closes when it has read everything. If this side closed, the system could drop what the host has not read.
void Host::endSending(QDeadlineTimer deadline)
{
    waitUntil(
        [this] { return !isOpen || (socket.bytesToWrite() == 0 && socket.encryptedBytesToWrite() == 0); }, deadline);
    OrvaneClient::endSending(socket.socketDescriptor());
}

void Host::receive()
{
    if (!isOpen)
        return;
    const QByteArray bytes = socket.readAll();
    trace("< "_L1, bytes);
    if (awaited && fencesPassed >= fenceBefore && answeredAfter < 0 && !bytes.isEmpty())
        answeredAfter = sinceSent.elapsed();
    for (const QByteArray& message : bytes.isEmpty() ? QList<QByteArray>() : cutter.add(bytes))
        handle(Reply(message));
    if (cutter.incompleteLength() > LongestMessage)
        socket.abort();
    isOpen = socket.state() != QAbstractSocket::UnconnectedState;
    if (!isOpen && isLoggedIn && !awaited) // otherwise exchange() or logIn() reports it
        console.problem(endOfConnection().problem);
}

void Host::handle(const Reply& reply)
{
    const QString next = FenceCommand + QString::number(fencesPassed + 1);
    if (fencesPassed < fencesSent && reply.kind == Reply::Kind::Rejected && reply.command == next) {
        ++fencesPassed;
        return;
    }
    if (reply.root == RefreshFinishedNotice)
        knownNames.clear();
    knownNames.insert(reply.names());
    listener(reply);
    if (awaited && !outcome && fencesPassed >= fenceBefore)
        outcome = judge(reply, *awaited);
}

Outcome Host::endOfConnection() const
{
    const qsizetype length = cutter.incompleteLength();
    if (length > LongestMessage)
        return {ExitStatus::BadAnswer, u"the answer does not end: given up after %1 bytes"_s.arg(length)};
    const QString what = awaited ? u", no "_s + awaited->answerDescription() : QString();
    const QString middle = u" in the middle of a message, after %1 bytes"_s.arg(length);
    return {ExitStatus::NoAnswer, u"%1 closed the connection%2"_s.arg(settings.address(), length > 0 ? middle : what)};
}

} // namespace OrvaneClient
