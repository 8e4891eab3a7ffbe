#include "OrvaneConnection.h"

#include "DebugLog.h"

#include <QHostAddress>
#include <QScopeGuard>

#include <utility>

namespace OrvaneInterface {

OrvaneConnection::OrvaneConnection(
    OrvaneInterface* hostInterface, QTcpSocket* socket, QString userName, QString password, QObject* parent)
    : QObject(parent)
    , hostInterface(hostInterface)
    , socket(socket)
    , xmlSocket(std::make_unique<XMLSocket>(socket))
    , userName(std::move(userName))
    , password(std::move(password))
{
    qCDebug(defaultLog) << "New OrvaneConnection from" << socket->peerAddress();

    connect(socket, &QTcpSocket::readyRead, this, &OrvaneConnection::handleReadyRead);
    connect(socket, &QTcpSocket::errorOccurred, this,
        [](QAbstractSocket::SocketError error) { qCDebug(defaultLog) << "OrvaneConnection socket error:" << error; });
    connect(socket, &QTcpSocket::disconnected, this, &OrvaneConnection::handleDisconnected);
}

OrvaneConnection::~OrvaneConnection()
{
    handleDisconnected();
}

void OrvaneConnection::sendMessage(const QString& message)
{
    if (socketAttached)
        xmlSocket->writeMessage(message);
}

void OrvaneConnection::sendFrame(const QByteArray& bytes)
{
    if (socketAttached)
        xmlSocket->writeFrame(bytes);
}

void OrvaneConnection::handleReadyRead()
{
    // In an event loop that a host call runs, the socket reports readyRead() again. The bytes stay where they are:
    // readMessages() would replace the queue, and the next message must wait for the end of this one.
    if (dispatching || !socketAttached)
        return;

    dispatching = true;
    const auto finish = qScopeGuard([this] { finishDispatching(); });
    do {
        xmlSocket->readMessages();
        const bool single = xmlSocket->messages.size() == 1;
        while (socketAttached && !xmlSocket->messages.isEmpty())
            handleCommand(xmlSocket->messages.takeFirst());
        // A single reply leaves at once: waiting for the event loop to come round again would take longer than sending
        // it. Several are left to the socket, which puts them together into fewer packets.
        if (single && socketAttached)
            socket->flush();
    } while (socketAttached && socket->bytesAvailable() > 0);
}

void OrvaneConnection::handleDisconnected()
{
    if (!socketAttached)
        return;

    socketAttached = false; // first: close() can report disconnected() at once
    xmlSocket.reset();
    socket->close();
    // While a message is being dispatched the socket is inside its own readyRead(), and an event loop of the host
    // would carry out a deleteLater() from here before that has returned. finishDispatching() sees to it instead.
    if (!dispatching)
        socket->deleteLater();
}

void OrvaneConnection::finishDispatching()
{
    dispatching = false;
    if (!socketAttached)
        socket->deleteLater();
}

/// The last word of the server to each of its connections, from its destructor, before Qt deletes its children.
void OrvaneConnection::handleServerDestroyed()
{
    handleDisconnected();
    if (!dispatching)
        return;

    // The host destroys the server inside one of our calls on it, with the socket's signal and this object's dispatch
    // still on the stack. Leave the server's object tree: the socket is deleted when they have returned, and takes this
    // object with it.
    socket->setParent(nullptr);
    setParent(socket);
}

} // namespace OrvaneInterface
