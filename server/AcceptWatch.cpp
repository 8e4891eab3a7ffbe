#include "AcceptWatch.h"

#include "DebugLog.h"

#include <QEvent>
#include <QFile>
#include <QProcess>
#include <QSocketNotifier>
#include <QTcpServer>

#include <utility>

namespace OrvaneInterface {

namespace {

bool descriptorsExhausted()
{
    QFile file(QProcess::nullDevice());
    return !file.open(QIODevice::ReadOnly) && file.error() == QFileDevice::ResourceError;
}

} // namespace

AcceptWatch::AcceptWatch(QTcpServer* server)
    : QObject(server)
    , server(server)
{
    connect(server, &QTcpServer::newConnection, this, &AcceptWatch::handleNewConnection);
    connect(server, &QTcpServer::acceptError, this, &AcceptWatch::handleAcceptError);
}

void AcceptWatch::handleListening()
{
    const auto notifiers = server->findChildren<QSocketNotifier*>();
    for (QSocketNotifier* notifier : notifiers) {
        if (notifier->type() == QSocketNotifier::Read && notifier->socket() == server->socketDescriptor())
            notifier->installEventFilter(this);
    }
}

void AcceptWatch::handleClientGone()
{
    if (std::exchange(stoppedByError, false) && server->isListening())
        server->resumeAccepting();
}

bool AcceptWatch::eventFilter(QObject* /*watched*/, QEvent* event)
{
    if (event->type() != QEvent::SockAct)
        return false;
    // A single activation without a client is nothing special: it may have left before it was accepted.
    if (++fruitlessActivations < 2 || !descriptorsExhausted())
        return false;
    fruitlessActivations = 0;
    server->pauseAccepting();
    Q_EMIT server->acceptError(QAbstractSocket::SocketResourceError);
    return true;
}

void AcceptWatch::handleNewConnection()
{
    fruitlessActivations = 0;
    acceptedSinceError = true;
    stoppedByError = false;
}

void AcceptWatch::handleAcceptError(QAbstractSocket::SocketError error)
{
    // Most likely the old error once more, because nobody is left to accept. Another real one comes again at once.
    if (errorSeen && std::exchange(acceptedSinceError, false)) {
        server->resumeAccepting();
        return;
    }
    errorSeen = true;
    acceptedSinceError = false;
    stoppedByError = true;
    qCDebug(defaultLog) << "OrvaneConnection server error:" << error;
}

} // namespace OrvaneInterface
