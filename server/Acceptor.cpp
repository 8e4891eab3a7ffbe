#include "Acceptor.h"

#include "DebugLog.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSignalBlocker>
#include <QSocketNotifier>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimerEvent>

#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

constexpr int RetryMs = 1000;

/// 100 ms, and at least ten rounds of the event loop. One or two of them show which clients have left.
constexpr int StepMs = 10;
constexpr int Steps = 10;

/// Far more clients than reconnect during one host call, but few enough for a process's file descriptors.
constexpr qsizetype MostWaiting = 100;

void leaveEventLoop(QSocketNotifier* notifier)
{
    QAbstractEventDispatcher::instance()->unregisterSocketNotifier(notifier);
}

void enterEventLoop(QSocketNotifier* notifier)
{
    leaveEventLoop(notifier); // it is already registered if it was disabled and enabled meanwhile
    QAbstractEventDispatcher::instance()->registerSocketNotifier(notifier);
}

} // namespace

Acceptor::Acceptor(
    QTcpServer& server, const Admission& admission, std::shared_ptr<ClientObservation> observation, QObject* parent)
    : QObject(parent)
    , server(server)
    , admission(admission)
    , observation(std::move(observation))
{
    connect(&server, &QTcpServer::acceptError, this, &Acceptor::handleAcceptError);
    server.installEventFilter(this);
}

bool Acceptor::event(QEvent* event)
{
    if (event->type() == QEvent::ThreadChange) { // as in OrvaneConnection
        const bool isShort = retryTimer.isActive();
        retryTimer.stop();
        waitingTimer.stop();
        const auto startTimers = [this, isShort] {
            if (isShort)
                retryTimer.start(RetryMs, this);
            if (!waiting.isEmpty())
                waitingTimer.start(StepMs, this);
        };
        QMetaObject::invokeMethod(this, startTimers, Qt::QueuedConnection);
    }
    return QObject::event(event);
}

bool Acceptor::eventFilter(QObject* watched, QEvent* event)
{
    // A server that starts to listen gets a socket as a child, which gets a notifier. Filter both now, though neither
    // is more than a QObject yet: the notifier may be activated before any event posted here.
    if (event->type() == QEvent::ChildAdded && !listening)
        static_cast<QChildEvent*>(event)->child()->installEventFilter(this);
    if (event->type() != QEvent::SockAct)
        return false;
    findListening();

    auto* notifier = static_cast<QSocketNotifier*>(watched);
    if (isTurnTaken) {
        leaveEventLoop(notifier);
        held.append(notifier);
        return true;
    }
    takeTurn();
    if (notifier != listening)
        return false;
    accept();
    return true;
}

void Acceptor::findListening()
{
    const auto notifiers = listening ? QList<QSocketNotifier*>() : server.findChildren<QSocketNotifier*>();
    for (QSocketNotifier* notifier : notifiers) {
        if (notifier->type() == QSocketNotifier::Read && notifier->socket() == server.socketDescriptor())
            listening = notifier;
    }
}

void Acceptor::setStranger(QTcpSocket& client, bool isStranger)
{
    client.setReadBufferSize(isStranger ? BytesOfStranger : BytesOfClient);
    const auto notifiers = client.findChildren<QSocketNotifier*>();
    for (QSocketNotifier* notifier : notifiers)
        isStranger ? notifier->installEventFilter(this) : notifier->removeEventFilter(this);
}

/// The turn ends with the round: the event loop delivers posted events before it looks for ready sockets.
void Acceptor::takeTurn()
{
    isTurnTaken = true;
    QMetaObject::invokeMethod(this, &Acceptor::beginRound, Qt::QueuedConnection);
}

void Acceptor::beginRound()
{
    isTurnTaken = false;
    const QPointer<Acceptor> self(this);
    if (!waiting.isEmpty() && !admission.isFull()) {
        takeTurn();
        Q_EMIT placeIsFree();
    }
    while (self && !isTurnTaken && !held.isEmpty()) {
        const QPointer<QSocketNotifier> next = held.takeFirst();
        if (!next || !next->isEnabled())
            continue;
        enterEventLoop(next);
        QEvent activation(QEvent::SockAct);
        QCoreApplication::sendEvent(next, &activation); // takes the turn before newly ready clients
    }
}

/// The host may destroy the server in this function.
void Acceptor::accept()
{
    const bool isShort = retryTimer.isActive();
    if (!listening || !listening->isEnabled()) { // closed, or paused by the host
        if (isShort)
            retryTimer.start(RetryMs, this); // the interval may have been 0
        return;
    }
    const bool isAnyoneLeft = acceptOne();
    if (server.hasPendingConnections()) {
        if (isShort)
            retryTimer.start(0, this); // may be the same shortage until no client is left
        QMetaObject::invokeMethod(&server, "newConnection", Qt::DirectConnection);
        return;
    }
    if (!isAnyoneLeft) {
        retryTimer.stop();
        enterEventLoop(listening);
        return;
    }
    // Qt disables the notifier when it has an error to report.
    const auto error = listening->isEnabled() ? QAbstractSocket::SocketResourceError : server.serverError();
    listening->setEnabled(true);
    leaveEventLoop(listening);
    retryTimer.start(RetryMs, this);
    if (!isShort)
        QMetaObject::invokeMethod(&server, "acceptError", Q_ARG(QAbstractSocket::SocketError, error));
}

/// Makes Qt accept one client, which is then pending. Emits no signals; accept() does. \return false if none is left
bool Acceptor::acceptOne()
{
    const QSignalBlocker silence(server);
    const int pendingOfHost = server.maxPendingConnections();
    server.setMaxPendingConnections(1);
    bool isNobodyLeft = false;
    // Twice: a class derived from the server may have turned the first client away.
    for (int attempt = 0; attempt < 2 && !isNobodyLeft && !server.hasPendingConnections(); ++attempt)
        server.waitForNewConnection(0, &isNobodyLeft);
    server.setMaxPendingConnections(pendingOfHost);
    if (server.hasPendingConnections())
        listening->setEnabled(true); // Qt disables it after one client, the maximum set above
    return !isNobodyLeft;
}

/// If the host calls waitForNewConnection() itself, Qt pauses the server for good after an error.
void Acceptor::handleAcceptError(QAbstractSocket::SocketError error)
{
    findListening();
    if (!listening || listening->isEnabled() || server.serverError() != error)
        return;
    server.resumeAccepting();
    retryTimer.start(RetryMs, this);
}

QTcpSocket* Acceptor::takeClient()
{
    const QPointer<Acceptor> self(this);
    if (server.hasPendingConnections()) {
        findListening();
        const bool isPaused = !listening.isNull() && !listening->isEnabled();
        QTcpSocket* client = server.nextPendingConnection();
        if (isPaused)
            server.pauseAccepting(); // nextPendingConnection() has ended the pause
        if (!admission.isFull() && waiting.isEmpty())
            return client;
        waiting.append({client, step + Steps});
        if (!waitingTimer.isActive())
            waitingTimer.start(StepMs, this);
        if (waiting.size() > MostWaiting)
            turnAwayFirst();
        return nullptr;
    }
    while (self && !waiting.isEmpty() && !admission.isFull()) {
        if (waiting.first().client->state() == QAbstractSocket::ConnectedState)
            return waiting.takeFirst().client;
        turnAwayFirst(); // it has left
    }
    return nullptr;
}

/// The host may destroy the server in this function.
void Acceptor::turnAwayFirst()
{
    QTcpSocket* client = waiting.takeFirst().client;
    const auto limit = "maxClients"_L1;
    ClientEvents events(ClientEvents::clientOf(*client), observation);
    delete client;
    events.tell({.type = OrvaneClientEvent::Type::ExceededLimit, .reason = limit});
    logExceededLimit(limit, peerOf(events.client()));
}

void Acceptor::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == waitingTimer.timerId())
        stepWaiting();
    else if (listening)
        accept();
    else
        retryTimer.stop();
}

void Acceptor::stepWaiting()
{
    ++step;
    const QPointer<Acceptor> self(this);
    while (self && admission.isFull() && !waiting.isEmpty() && waiting.first().lastStep <= step) {
        waitingTimer.start(StepMs, this); // anew: in an event loop of the host, Qt would not deliver the present one
        turnAwayFirst();
    }
    if (self && waiting.isEmpty())
        waitingTimer.stop();
    else if (self && !admission.isFull() && !isTurnTaken)
        takeTurn();
}

} // namespace OrvaneInterface

#include "moc_Acceptor.cpp"
