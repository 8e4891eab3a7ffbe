#include "OrvaneConnection.h"

#include "AuditLog.h"
#include "ClientLimits.h"
#include "DebugLog.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QScopeGuard>
#include <QSslSocket>
#include <QTimerEvent>

#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// A reply that is ready waits at most so long, and for the host call that is then running, for others to share its
/// packet. A short command takes a hundredth of it.
constexpr qint64 LongestWaitNs = 1'000'000;

} // namespace

/// Lives on the stack while code of the host may run, or a signal of the socket is being handled: the socket and the
/// connection outlast it, whatever happens to client and server meanwhile.
class OrvaneConnection::InUse {
    Q_DISABLE_COPY_MOVE(InUse)

public:
    explicit InUse(OrvaneConnection& connection)
        : connection(connection)
    {
        ++connection.uses;
    }
    ~InUse()
    {
        if (--connection.uses == 0 && !connection.socketAttached)
            connection.letGo();
    }

private:
    OrvaneConnection& connection;
};

OrvaneConnection::OrvaneConnection(
    OrvaneInterface* hostInterface, QTcpSocket* socket, QString userName, QString password, QObject* parent)
    : QObject(parent)
    , hostInterface(hostInterface)
    , socket(socket)
    , xmlSocket(std::make_unique<XMLSocket>(socket))
    , userName(std::move(userName))
    , password(std::move(password))
{
    const InUse inUse(*this);
    qCDebug(defaultLog) << "New OrvaneConnection from" << socket->peerAddress();
    if (socketAttached && auditLog().isInfoEnabled())
        writeAuditLine(auditEntry("connected"_L1));

    connect(socket, &QTcpSocket::readyRead, this, &OrvaneConnection::handleReadyRead);
    connect(socket, &QTcpSocket::errorOccurred, this,
        [this](QAbstractSocket::SocketError error) { handleSocketError(error); });
    connect(socket, &QTcpSocket::disconnected, this, &OrvaneConnection::handleDisconnected);
}

OrvaneConnection::~OrvaneConnection()
{
    release("the server was destroyed"_L1);
}

void OrvaneConnection::takeUpSocket(std::unique_ptr<ClientLimits> clientLimits)
{
    if (!socketAttached)
        return;

    const InUse inUse(*this);
    limits = std::move(clientLimits);
    limits->start(*socket, this);
    // Encryption that cannot begin, for want of a usable key, has failed before there was anybody to tell, and the
    // socket stays open. And in an event loop of a message handler the client may have sent something, or left.
    const QAbstractSocket::SocketError missedError = socket->error();
    const bool hasEnded =
        missedError != QAbstractSocket::UnknownSocketError || socket->state() == QAbstractSocket::UnconnectedState;
    if (socket->bytesAvailable() > 0)
        handleReadyRead();
    if (!hasEnded)
        return;
    if (socketAttached && missedError != QAbstractSocket::UnknownSocketError)
        handleSocketError(missedError);
    release();
}

void OrvaneConnection::sendMessage(const QString& message)
{
    if (outcome == Outcome::NoReply)
        outcome = Outcome::Answered;
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

    const InUse inUse(*this);
    dispatching = true;
    const auto finish = qScopeGuard([this] { dispatching = false; });
    do {
        xmlSocket->readMessages();
        carryOutMessages();
        if (socketAttached)
            endIfExceeded(limits->exceededByMessage(xmlSocket->unfinishedLength(), isLoggedIn()));
    } while (socketAttached && socket->bytesAvailable() > 0);
}

/// Sends the replies itself instead of leaving them to the next turn of the event loop: a reply would wait for that
/// turn longer than sending it takes, and all host calls of the read would come first. The replies of short commands
/// leave together, in fewer packets.
void OrvaneConnection::carryOutMessages()
{
    QElapsedTimer sinceFlush;
    sinceFlush.start();
    while (socketAttached && !xmlSocket->messages.isEmpty()) {
        const QString message = xmlSocket->messages.takeFirst();
        if (!isAllowed(message))
            return;
        handleCommand(message);
        if (!socketAttached)
            return;
        if (xmlSocket->messages.isEmpty() || sinceFlush.nsecsElapsed() >= LongestWaitNs) {
            xmlSocket->flush();
            sinceFlush.start();
        }
    }
}

/// \return false when the client has exceeded a limit with it, and is gone
bool OrvaneConnection::isAllowed(const QString& message)
{
    // Before the message, not behind the reply: a client that reads a reply before it goes on cannot exceed it.
    if (!limits->exceededByUnsent(unsentBytes()).isNull()) {
        xmlSocket->flush(); // what the system can take does not wait for the client
        if (socketAttached)
            endIfExceeded(limits->exceededByUnsent(unsentBytes()));
    }
    if (socketAttached)
        endIfExceeded(limits->exceededByMessage(message.size(), isLoggedIn()));
    return socketAttached;
}

/// An error ends nothing by itself: the client is there until the socket reports disconnected().
void OrvaneConnection::handleSocketError(QAbstractSocket::SocketError error)
{
    const InUse inUse(*this);
    qCDebug(defaultLog) << "OrvaneConnection socket error:" << error;
    if (isEncrypted() || !socketAttached || !auditLog().isInfoEnabled())
        return;
    QJsonObject entry = auditEntry("handshakeFailed"_L1);
    entry["reason"_L1] = socket->errorString();
    writeAuditLine(entry);
}

void OrvaneConnection::handleDisconnected()
{
    release();
}

/// \a reason goes into the audit trail; null: the socket's own.
void OrvaneConnection::release(QLatin1String reason)
{
    if (!socketAttached)
        return;

    const InUse inUse(*this);
    QJsonObject entry;
    if (auditLog().isInfoEnabled()) {
        entry = auditEntry("disconnected"_L1);
        entry["reason"_L1] = reason.isNull() ? socket->errorString() : reason.toString();
    }
    socketAttached = false; // first: close() can report disconnected() at once
    xmlSocket.reset();
    limits.reset();
    socket->close();
    if (!entry.isEmpty())
        writeAuditLine(entry);
}

void OrvaneConnection::timerEvent(QTimerEvent* event)
{
    if (dispatching || !socketAttached) // what the client has sent meanwhile waits behind this
        return;
    endIfExceeded(limits->exceededByTime(event->timerId(), isEncrypted(), isLoggedIn()));
}

/// \a limit as ClientLimits names it; null: nothing is exceeded.
void OrvaneConnection::endIfExceeded(QLatin1String limit)
{
    if (limit.isNull() || !socketAttached)
        return;
    const InUse inUse(*this);
    const QString peer = peerOf(*socket);
    if (auditLog().isInfoEnabled()) {
        QJsonObject entry = auditEntry("exceededLimit"_L1);
        entry["limit"_L1] = limit;
        writeAuditLine(entry);
    }
    release(limit);
    logExceededLimit(limit, peer);
}

bool OrvaneConnection::isEncrypted() const
{
    const auto* sslSocket = qobject_cast<const QSslSocket*>(socket);
    return sslSocket != nullptr && sslSocket->isEncrypted();
}

qint64 OrvaneConnection::unsentBytes() const
{
    const auto* sslSocket = qobject_cast<const QSslSocket*>(socket);
    return socket->bytesToWrite() + (sslSocket != nullptr ? sslSocket->encryptedBytesToWrite() : 0);
}

QJsonObject OrvaneConnection::auditEntry(QLatin1String event) const
{
    QJsonObject entry {{"event"_L1, event}, {"peer"_L1, peerOf(*socket)}};
    if (isLoggedIn())
        entry["account"_L1] = account();
    return entry;
}

/// The end of the release. Until then the socket may be inside a signal of its own, and an event loop of the host would
/// carry out the deletion before that has returned. The object itself stays as long as the server, so it keeps nothing.
void OrvaneConnection::letGo()
{
    socket->deleteLater();
    userName.clear();
    password.clear();
}

void OrvaneConnection::leaveServer()
{
    release("the server was destroyed"_L1);
    if (uses == 0)
        return;

    // The host destroys the server inside one of our calls on it or one of our log lines, with the socket's signal and
    // this object still on the stack. Leave the server's object tree: the socket is deleted when they have returned,
    // and takes this object with it.
    socket->setParent(nullptr);
    setParent(socket);
}

} // namespace OrvaneInterface
