#include "AcceptRetry.h"

#include "DebugLog.h"

#include <QAbstractEventDispatcher>
#include <QEvent>
#include <QSocketNotifier>
#include <QTcpServer>

namespace OrvaneInterface {

namespace {

/// A single activation without a client is nothing special: the client may have left, or been accepted by an event loop
/// that the host runs.
constexpr int FruitlessActivations = 2;

constexpr int RetryMs = 1000;

/// Once somebody has come, the shortage counts as over when nobody else has waited in vain for so long.
constexpr int SettledMs = 100;

} // namespace

AcceptRetry::AcceptRetry(QTcpServer* server)
    : QObject(server)
    , server(server)
{
    connect(server, &QTcpServer::newConnection, this, &AcceptRetry::handleNewConnection);
    connect(server, &QTcpServer::acceptError, this, &AcceptRetry::handleAcceptError);
    server->installEventFilter(this);
}

bool AcceptRetry::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == server) {
        // Whenever the server begins to listen it gets a new socket, and that its notifier a little later. To wait for
        // a report of Qt would be too late: the host may have the server listen anew inside a new client's log line. Qt
        // then goes on accepting at the new socket, and may leave its first error there without a report.
        if (event->type() == QEvent::ChildAdded && !notifier)
            QMetaObject::invokeMethod(this, &AcceptRetry::watchListeningSocket, Qt::QueuedConnection);
        return false;
    }

    if (event->type() != QEvent::SockAct || ++activations <= FruitlessActivations)
        return false;
    QAbstractEventDispatcher::instance()->unregisterSocketNotifier(notifier);
    report(QAbstractSocket::SocketResourceError); // unless Qt has told which
    return true;
}

void AcceptRetry::timerEvent(QTimerEvent* /*event*/)
{
    if (activations <= FruitlessActivations) {
        timer.stop();
        return;
    }
    timer.start(RetryMs, this);
    activations = FruitlessActivations - 1; // one more
    if (!notifier || !notifier->isEnabled()) // the host has closed or paused the server meanwhile
        return;
    // In two steps: if the host has paused and resumed it meanwhile, it is there already.
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
    dispatcher->unregisterSocketNotifier(notifier);
    dispatcher->registerSocketNotifier(notifier);
}

void AcceptRetry::handleNewConnection()
{
    activations = 0;
    if (timer.isActive())
        timer.start(SettledMs, this);
}

void AcceptRetry::handleAcceptError(QAbstractSocket::SocketError error)
{
    watchListeningSocket();
    server->resumeAccepting(); // it was Qt that paused it
    // If somebody has come since the socket became ready, this may be an old error. A real one comes again at once.
    if (activations > 0)
        report(error);
}

void AcceptRetry::watchListeningSocket()
{
    if (notifier)
        return;
    const auto notifiers = server->findChildren<QSocketNotifier*>();
    for (QSocketNotifier* candidate : notifiers) {
        if (candidate->type() != QSocketNotifier::Read || candidate->socket() != server->socketDescriptor())
            continue;
        notifier = candidate;
        notifier->installEventFilter(this);
    }
}

/// The last thing that a function does here: the line may run code of the host, which may destroy the server.
void AcceptRetry::report(QAbstractSocket::SocketError error)
{
    if (timer.isActive())
        return;
    timer.start(RetryMs, this);
    qCDebug(defaultLog) << "OrvaneConnection server error:" << error;
}

} // namespace OrvaneInterface
