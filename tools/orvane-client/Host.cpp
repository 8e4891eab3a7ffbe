#include "Host.h"

#include "Command.h"
#include "Console.h"
#include "Protocol.h"
#include "Settings.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <utility>

#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

using namespace std::chrono_literals;

/// After so long without an answer the host is asked why, or after a third of the timeout.
constexpr std::chrono::milliseconds Silence = 300ms;

constexpr QLatin1String FenceCommand("end-of-query-");

constexpr qsizetype LongestMessage = qsizetype(1) << 27; ///< more than any host has to say, and can be held

// Marks in a trace.
constexpr QLatin1String Sent("> ");
constexpr QLatin1String Received("< ");

} // namespace

void catchSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    auto* const notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [descriptor] {
        signalfd_siginfo signal = {};
        if (read(descriptor, &signal, sizeof signal) == sizeof signal)
            caughtSignal() = static_cast<int>(signal.ssi_signo);
    });
}

int& caughtSignal()
{
    static int signal = 0;
    return signal;
}

Host::Host(const Settings& settings, Console& console, std::optional<CommandRequest> login)
    : settings(settings)
    , console(console)
    , trust(settings)
    , timeout(settings.duration("timeout"))
    , login(std::move(login))
{
    socket.setSslConfiguration(trust.configuration());
    // They are judged when the handshake is done, together with the certificate; nothing is sent before.
    QObject::connect(&socket, &QSslSocket::sslErrors, &socket, [this] { socket.ignoreSslErrors(); });
    QObject::connect(&socket, &QSslSocket::connected, &socket, [this] { isReached = true; });
}

bool Host::waitUntil(const std::function<bool()>& condition, QDeadlineTimer deadline)
{
    QTimer alarm; // ends the wait for events
    alarm.setTimerType(Qt::PreciseTimer);
    while (true) {
        receive();
        if (condition())
            return true;
        if (deadline.hasExpired() || caughtSignal() != 0)
            return false;
        if (!deadline.isForever())
            alarm.start(std::chrono::milliseconds(deadline.remainingTime() + 1));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

bool Host::idleUntil(const std::function<bool()>& condition, QDeadlineTimer deadline)
{
    bool wasOpen = isOpen;
    const auto isOver = [&] {
        if (std::exchange(wasOpen, isOpen) && !isOpen)
            console.problem(endOfConnection().problem);
        return condition();
    };
    return waitUntil(isOver, deadline);
}

QSslCertificate Host::connect()
{
    for (QString told; !isOpen;) {
        try {
            open();
        } catch (const Outcome& failure) {
            if (!failure.mayPass || !settings.has("retry") || caughtSignal() != 0)
                throw;
            if (std::exchange(told, failure.problem) != failure.problem)
                console.problem(failure.problem + u"; trying again"_s);
            waitUntil([] { return false; }, QDeadlineTimer(1s));
        }
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
    const QString what = isReached ? u"no TLS with"_s : isInTime ? u"cannot connect to"_s : u"no connection to"_s;
    const QString why = isInTime ? u": "_s + socket.errorString().simplified() : u" within "_s + durationText(timeout);
    const QString hint = isFull ? u" (as a host does that has all the clients it takes)"_s : QString();
    return {ExitStatus::NoConnection, u"%1 %2%3%4"_s.arg(what, settings.address(), why, hint), true};
}

void Host::reset()
{
    socket.abort();
    cutter = {};
    fencesSent = fencesPassed = -1;
    isReached = isOpen = isLoggedIn = false;
}

/// A host never answers a login. Whether it was accepted shows by a fence: it is rejected after a login, and ignored
/// without one. But a host that stays silent may be busy. So it is told that nothing more comes: when it closes then,
/// it has read everything.
void Host::logIn()
{
    if (isOpen && isLoggedIn)
        return;
    connect();
    const QDeadlineTimer deadline(timeout);
    const int fence = sendLogin();
    isLoggedIn = awaitFence(fence, QDeadlineTimer(std::min(Silence, timeout / 3)));
    if (isLoggedIn)
        return;
    if (!isOpen)
        throw endOfConnection();
    endSending(deadline);
    if (awaitFence(fence, deadline)) {
        open(); // the connection takes no more commands
        sendLogin();
        isLoggedIn = true;
        return;
    }
    Outcome failure = endOfConnection();
    if (isOpen)
        failure.problem = u"no answer to the login within %1"_s.arg(durationText(timeout));
    else if (cutter.incompleteLength() == 0)
        failure = {ExitStatus::NotLoggedIn,
            login ? u"not logged in: the host does not accept the account, and answers nothing"_s
                  : u"not logged in: without a login a host answers nothing"_s};
    reset();
    throw Outcome(failure);
}

/// \return the number of the fence
int Host::sendLogin()
{
    if (login)
        send(login->document);
    return sendFence();
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
    if (request.awaitsNothing && !login)
        connect();
    else
        logIn();
    sinceSent.start(); // not before the login has been answered
    answeredAfter = -1;
    send(request.document);
    const bool isRefresh = request.answerRoot == RefreshFinishedNotice && !settings.has("timeout");
    if (!request.awaitsNothing) {
        awaitAnswer(request, isRefresh ? 60s : timeout);
        return;
    }
    const QDeadlineTimer deadline(timeout);
    endSending(deadline);
    if (!waitUntil([this] { return !isOpen; }, deadline))
        throw Outcome {ExitStatus::NoAnswer, u"the host did not take all within %1"_s.arg(durationText(timeout))};
}

void Host::awaitAnswer(const CommandRequest& request, std::chrono::milliseconds limit)
{
    const QDeadlineTimer deadline(limit);
    outcome.reset();
    awaited = request;
    const int fence = fencesSent + 1;
    const auto isDone = [this] { return outcome || !isOpen; };
    if (!waitUntil(isDone, QDeadlineTimer(std::min(Silence, limit / 3)))) {
        sendFence();
        waitUntil([&] { return isDone() || (!request.awaitsNotice && fencesPassed >= fence); }, deadline);
    }
    const bool hasPassed = fencesPassed >= fence;
    const QString what = request.answerDescription();
    if (!outcome && !isOpen)
        outcome = endOfConnection();
    else if (!outcome)
        outcome = {ExitStatus::NoAnswer,
            hasPassed && !request.awaitsNotice ? u"the host gives no %1"_s.arg(what)
                                               : u"no %1 within %2"_s.arg(what, durationText(limit))};
    awaited.reset();
    if (outcome->status == ExitStatus::NoAnswer && request.answerRoot == RefreshFinishedNotice && hasPassed)
        outcome->problem += u"; the refresh goes on (%1)"_s.arg(request.awaitsNotice
                ? u"give it more --timeout"_s
                : u"%1 is shown when it has ended"_s.arg(request.answerRoot));
    if (outcome->status == ExitStatus::NoAnswer && !hasPassed)
        reset(); // or what comes late would be taken for the answer to the next command
    if (outcome->status != ExitStatus::Success)
        throw Outcome(*outcome);
}

/// A line for each line, with a mark before it, and without the password of a login.
void Host::trace(QLatin1String mark, const QByteArray& bytes)
{
    static const QRegularExpression password(u"(<(?:[\\w.-]+:)?password\\b[^>]*>).*?(</|$)"_s,
        QRegularExpression::DotMatchesEverythingOption | QRegularExpression::UseUnicodePropertiesOption);
    static const QRegularExpression lineStart(u"(?<=\\n)(?!$)"_s);
    if (!settings.has("trace") || bytes.isEmpty())
        return;
    QString text = textOfBytes(bytes);
    if (mark == Sent)
        text.replace(password, u"\\1***\\2"_s);
    for (const QString& line : text.split(lineStart))
        console.trace(mark + line);
}

void Host::send(const QByteArray& message)
{
    const QByteArray bytes = message + OrvaneInterface::MessageTerminator.data();
    trace(Sent, bytes);
    socket.write(bytes);
}

/// \return its number; that of the login's is 0
int Host::sendFence()
{
    const QString name = FenceCommand + QString::number(++fencesSent);
    send((u'<' + name + "/>"_L1).toLatin1());
    return fencesSent;
}

bool Host::awaitFence(int number, QDeadlineTimer deadline)
{
    waitUntil([&] { return fencesPassed >= number || !isOpen; }, deadline);
    return fencesPassed >= number;
}

/// The host closes when it has read all. Closing here at once could make the system drop what it has not read yet.
void Host::endSending(QDeadlineTimer deadline)
{
    waitUntil(
        [this] { return !isOpen || (socket.bytesToWrite() == 0 && socket.encryptedBytesToWrite() == 0); }, deadline);
    ::shutdown(static_cast<int>(socket.socketDescriptor()), SHUT_WR);
}

void Host::receive()
{
    if (!isOpen)
        return;
    const QByteArray bytes = socket.readAll();
    trace(Received, bytes);
    if (answeredAfter < 0 && sinceSent.isValid() && !bytes.isEmpty())
        answeredAfter = sinceSent.elapsed();
    for (const QByteArray& message : bytes.isEmpty() ? QList<QByteArray>() : cutter.add(bytes))
        handle(Reply(message));
    if (cutter.incompleteLength() > LongestMessage)
        socket.abort();
    isOpen = socket.state() != QAbstractSocket::UnconnectedState;
}

void Host::handle(const Reply& reply)
{
    bool isNumber = false;
    const int number = reply.command.mid(FenceCommand.size()).toInt(&isNumber);
    const bool isFence = isNumber && reply.kind == Reply::Kind::Rejected && reply.command.startsWith(FenceCommand);
    if (isFence && number >= 0 && number <= fencesSent) {
        fencesPassed = std::max(fencesPassed, number);
        return;
    }
    if (reply.root == RefreshFinishedNotice)
        knownNames.clear();
    knownNames.insert(reply.names());
    listener(reply);
    if (awaited && !outcome)
        outcome = judge(reply, *awaited);
}

Outcome Host::endOfConnection() const
{
    const qsizetype length = cutter.incompleteLength();
    if (length > LongestMessage)
        return {ExitStatus::BadAnswer, u"the answer has no end: given up after %1 bytes"_s.arg(length)};
    QString problem = u"%1 closed the connection"_s.arg(settings.address());
    if (length > 0)
        problem += u" in the middle of a message, after %1 bytes"_s.arg(length);
    else if (awaited)
        problem += u", no %1"_s.arg(awaited->answerDescription());
    return {ExitStatus::NoAnswer, problem};
}

} // namespace OrvaneClient
