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

/// A tenth of a second, and at least ten turns of the event loop, of which one or two show who has left.
constexpr int StepMs = 10;
constexpr int Steps = 10;

/// Far more than leave and come anew in one call of the host, and few enough for the descriptors of a process.
constexpr qsizetype MostWaiting = 100;

void leaveEventLoop(QSocketNotifier* notifier)
{
    QAbstractEventDispatcher::instance()->unregisterSocketNotifier(notifier);
}

void enterEventLoop(QSocketNotifier* notifier)
{
    leaveEventLoop(notifier); // whoever has disabled and enabled it meanwhile has put it back already
    QAbstractEventDispatcher::instance()->registerSocketNotifier(notifier);
}

} // namespace

Acceptor::Acceptor(QTcpServer& server, const Admission& admission, std::shared_ptr<const ClientObservation> observation,
    QObject* parent)
    : QObject(parent)
    , server(server)
    , admission(admission)
    , observation(std::move(observation))
{
    connect(&server, &QTcpServer::acceptError, this, &Acceptor::handleAcceptError);
    server.installEventFilter(this);
}

bool Acceptor::eventFilter(QObject* watched, QEvent* event)
{
    // A server that begins to listen gets a socket as a child, and that a notifier, which may be activated before
    // anything that is posted now. Neither is more than a QObject yet.
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

/// Until the event loop has come round: what is posted comes before what is ready then.
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
        QCoreApplication::sendEvent(next, &activation); // takes the turn, before anyone who is ready only now
    }
}

/// The server may be destroyed in it.
void Acceptor::accept()
{
    const bool isShort = retryTimer.isActive();
    if (!listening || !listening->isEnabled()) { // closed, or paused by the host
        if (isShort)
            retryTimer.start(RetryMs, this); // it may have been at its fastest
        return;
    }
    const bool isAnyoneLeft = acceptOne();
    if (server.hasPendingConnections()) {
        if (isShort)
            retryTimer.start(0, this); // until nobody is left it may be the same shortage
        QMetaObject::invokeMethod(&server, "newConnection", Qt::DirectConnection);
        return;
    }
    if (!isAnyoneLeft) {
        retryTimer.stop();
        enterEventLoop(listening);
        return;
    }
    // Qt pauses when it has an error to report.
    const auto error = listening->isEnabled() ? QAbstractSocket::SocketResourceError : server.serverError();
    listening->setEnabled(true);
    leaveEventLoop(listening);
    retryTimer.start(RetryMs, this);
    if (!isShort)
        QMetaObject::invokeMethod(&server, "acceptError", Q_ARG(QAbstractSocket::SocketError, error));
}

/// Has Qt accept one client; it is pending then. No code of the host runs in it: what Qt would report is reported
/// later. \return false when there is nobody
bool Acceptor::acceptOne()
{
    const QSignalBlocker silence(server);
    const int pendingOfHost = server.maxPendingConnections();
    server.setMaxPendingConnections(1);
    bool isNobodyLeft = false;
    // Twice: who was there may have been turned away, by a class that is derived from the server.
    for (int attempt = 0; attempt < 2 && !isNobodyLeft && !server.hasPendingConnections(); ++attempt)
        server.waitForNewConnection(0, &isNobodyLeft);
    server.setMaxPendingConnections(pendingOfHost);
    if (server.hasPendingConnections())
        listening->setEnabled(true); // which Qt has disabled: one client is enough for it
    return !isNobodyLeft;
}

/// Where the host accepts by hand, with waitForNewConnection(), Qt pauses the server for good.
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
            server.pauseAccepting(); // which Qt has ended
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

/// The server may be destroyed in it.
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
    while (self && admission.isFull() && !waiting.isEmpty() && waiting.first().lastStep <= step)
        turnAwayFirst();
    if (self && waiting.isEmpty())
        waitingTimer.stop();
    else if (self && !admission.isFull() && !isTurnTaken)
        takeTurn();
}

} // namespace OrvaneInterface
