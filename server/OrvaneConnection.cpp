#include "OrvaneConnection.h"

#include "ClientLimits.h"
#include "DebugLog.h"
#include "OrvaneServerPrivate.h"
#include "Replies.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QScopeGuard>
#include <QSocketNotifier>
#include <QSslSocket>
#include <QTimerEvent>

#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

using EventType = OrvaneClientEvent::Type;

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
            connection.forget();
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
}

OrvaneConnection::~OrvaneConnection()
{
    release("the server was destroyed"_L1);
}

void OrvaneConnection::takeUpSocket(OrvaneServerPrivate& server)
{
    events = ClientEvents(ClientEvents::clientOf(*socket), server.observation);
    acceptor = &server.acceptor;
    hostCalls = &server.hostCalls;
    limits = server.admission.admit();
    if (auto* sslSocket = qobject_cast<QSslSocket*>(socket))
        connect(sslSocket, &QSslSocket::encrypted, this, [this, sslSocket] {
            encrypted = true;
            events.setEncrypted(sslSocket->peerCertificate());
            // Not inside of Qt's handshake, which could not stand a host that runs events.
            QMetaObject::invokeMethod(this, &OrvaneConnection::tellEncrypted, Qt::QueuedConnection);
        });
    connect(socket, &QTcpSocket::errorOccurred, this, &OrvaneConnection::discardFurtherInput);

    const InUse inUse(*this);
    events.tell({.type = EventType::Connected}); // first: in the other line the server may be destroyed
    qCDebug(defaultLog) << "New OrvaneConnection from" << socket->peerAddress();
    if (!socketAttached)
        return;

    connect(socket, &QTcpSocket::readyRead, this, &OrvaneConnection::handleReadyRead);
    connect(&network(), &QIODevice::readyRead, this, &OrvaneConnection::checkUnsent); // after Qt has read
    connect(socket, &QTcpSocket::errorOccurred, this, &OrvaneConnection::handleSocketError, Qt::QueuedConnection);
    connect(socket, &QTcpSocket::disconnected, this, &OrvaneConnection::handleDisconnected, Qt::QueuedConnection);
    limits->start(this);

    // Encryption that cannot begin, for want of a usable key, has failed before there was anybody to tell, and the
    // socket stays open. And in an event loop of a message handler the client may have sent something, or left.
    const QAbstractSocket::SocketError missedError = socket->error();
    const bool isMissed = missedError != QAbstractSocket::UnknownSocketError;
    const bool isGone = !isConnected() || (isMissed && !encrypted);
    if (socket->bytesAvailable() > 0)
        handleReadyRead();
    if (socketAttached && isMissed)
        handleSocketError(missedError);
    if (isGone)
        handleDisconnected();
}

void OrvaneConnection::sendMessage(const QString& message)
{
    if (socketAttached)
        xmlSocket->writeMessage(message);
}

OrvaneConnection::Result OrvaneConnection::sendCommandAccepted(const QString& commandName)
{
    sendMessage(acceptance(commandName));
    return {Outcome::Accepted};
}

OrvaneConnection::Result OrvaneConnection::sendCommandRejected(const QString& commandName, const QString& reason)
{
    sendMessage(rejection(commandName, reason));
    return {Outcome::Rejected};
}

void OrvaneConnection::notifyRefreshFinished(const QByteArray& notice)
{
    if (!recorderUpdatePending)
        return;
    if (socketAttached)
        xmlSocket->writeFrame(notice);
    recorderUpdatePending = false;
}

void OrvaneConnection::handleReadyRead()
{
    isHeard = true;
    // In an event loop that a host call runs, the socket reports readyRead() again. The bytes stay where they are:
    // readMessages() would replace the queue, and the next message must wait for the end of this one.
    if (dispatching || !socketAttached || isTurnOver)
        return;
    if (!hostCalls->mayBegin()) {
        if (!std::exchange(isHeld, true))
            hostCalls->wait(this, [this] { resume(); });
        return;
    }

    const InUse inUse(*this);
    dispatching = true;
    hostCalls->begin();
    const auto finish = qScopeGuard([this] {
        dispatching = false;
        if (hostCalls)
            hostCalls->end();
        updateReading();
    });
    tellEncrypted();
    if (socketAttached)
        carryOutReads();
    if (hasEnded && !isTurnOver)
        release();
}

/// Before what the client says, and also of one that says nothing.
void OrvaneConnection::tellEncrypted()
{
    if (!encrypted || !socketAttached || std::exchange(isEncryptionTold, true))
        return;
    const InUse inUse(*this);
    events.tell({.type = EventType::Encrypted});
}

/// One of the calls inside one another has returned.
void OrvaneConnection::resume()
{
    isHeld = false;
    const bool begins = !dispatching && socketAttached && !isTurnOver && hostCalls->mayBegin();
    handleReadyRead();
    if (!begins && hostCalls)
        hostCalls->wakeNext();
}

void OrvaneConnection::carryOutReads()
{
    do {
        if (turnBytes > 0 && turnBytes + socket->bytesAvailable() > bytesOfTurn()) {
            endTurn(); // instead of reading a part of it, which could end inside a character
            return;
        }
        turnBytes += xmlSocket->readMessages(bytesOfTurn());
        carryOutMessages();
        if (socketAttached)
            endIfExceeded(limits->exceededByMessage(xmlSocket->unfinishedLength(), isLoggedIn()));
    } while (socketAttached && socket->bytesAvailable() > 0);
}

void OrvaneConnection::endTurn()
{
    isTurnOver = true;
    QMetaObject::invokeMethod(this, &OrvaneConnection::beginTurn, Qt::QueuedConnection);
}

/// The event loop has come round.
void OrvaneConnection::beginTurn()
{
    turnBytes = 0;
    isTurnOver = false;
    if (!socketAttached)
        return;
    if (hasEnded || socket->bytesAvailable() > 0)
        handleReadyRead();
    updateReading();
}

/// While something is still to be carried out, the network is left alone: Qt would close the socket when it read the
/// end of the connection, and the replies could not be sent. The same while a client that has ended its session reads
/// on.
void OrvaneConnection::updateReading()
{
    if (!socketAttached)
        return;
    const bool mayRead = !isTurnOver && !(isSilent && (dispatching || isHeld || unsentBytes() > 0));
    if (std::exchange(isReading, mayRead) == mayRead)
        return;
    const auto notifiers = socket->findChildren<QSocketNotifier*>();
    for (QSocketNotifier* notifier : notifiers) {
        if (notifier->type() == QSocketNotifier::Read)
            notifier->setEnabled(mayRead);
    }
}

qint64 OrvaneConnection::bytesOfTurn() const
{
    return isLoggedIn() ? Acceptor::BytesOfClient : Acceptor::BytesOfStranger;
}

/// Sends the replies itself instead of leaving them to the next turn of the event loop: a reply would wait for that
/// turn longer than sending it takes, and all host calls of the read would come first. The replies of short commands
/// leave together, in fewer packets. In a flush the client may turn out to have left, which changes nothing here.
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
    if (!limits->exceededByUnsent(unsentBytes(), true).isNull()) {
        xmlSocket->flush(); // what the system can take does not wait for the client
        endIfExceeded(limits->exceededByUnsent(unsentBytes(), true));
    }
    if (socketAttached)
        endIfExceeded(limits->exceededByMessage(message.size(), isLoggedIn()));
    return socketAttached;
}

/// Behind an error of TLS, and behind the end of the session, the client can say nothing more. Qt would hand whatever
/// else comes to the TLS library, which keeps it for ever. The client is still told what it asked for.
void OrvaneConnection::discardFurtherInput(QAbstractSocket::SocketError error)
{
    if (isSilent || !encrypted || !isConnected() || socket->error() != error)
        return;
    isSilent = true;
    disconnect(&network(), &QIODevice::readyRead, nullptr, nullptr);
    connect(&network(), &QIODevice::readyRead, this, [this] { network().skip(network().bytesAvailable()); });
    connect(&network(), &QIODevice::bytesWritten, this, &OrvaneConnection::updateReading);
    updateReading();
}

/// What TLS itself answers, such as a refusal to renegotiate, waits for the client as replies do.
void OrvaneConnection::checkUnsent()
{
    if (!std::exchange(isHeard, false) && !dispatching && socketAttached && limits)
        endIfExceeded(limits->exceededByUnsent(unsentBytes(), isLoggedIn()));
}

/// The socket through which Qt's TLS socket reaches the network; itself where there is no other.
QTcpSocket& OrvaneConnection::network() const
{
    auto* inner = socket->findChild<QTcpSocket*>(QString(), Qt::FindDirectChildrenOnly);
    return inner != nullptr ? *inner : *socket;
}

/// An error ends nothing by itself: the client is there until the socket reports disconnected().
void OrvaneConnection::handleSocketError(QAbstractSocket::SocketError error)
{
    const InUse inUse(*this);
    if (!encrypted && socketAttached) // before the line: in it the client may be released
        events.tell({.type = EventType::HandshakeFailed, .reason = socket->errorString()});
    qCDebug(defaultLog) << "OrvaneConnection socket error:" << error;
}

/// What came before the end is carried out first. Where a call of the host has run events it is discarded.
void OrvaneConnection::handleDisconnected()
{
    hasEnded = true;
    if (isInCall)
        release();
    else
        handleReadyRead();
}

/// \a reason: of the event; null: the socket's own. It is a limit that the client has exceeded if \a isLimit.
void OrvaneConnection::release(QLatin1String reason, bool isLimit)
{
    if (!socketAttached)
        return;

    const InUse inUse(*this);
    const QString why = reason.isNull() ? socket->errorString() : reason.toString(); // close() gives it up
    socketAttached = false; // first: close() can report disconnected() at once
    xmlSocket.reset();
    limits.reset();
    socket->close();
    if (isLimit)
        events.tell({.type = EventType::ExceededLimit, .reason = why});
    events.tell({.type = EventType::Disconnected, .reason = why});
}

void OrvaneConnection::timerEvent(QTimerEvent* event)
{
    if (dispatching || isHeld || !socketAttached) // what the client has sent meanwhile waits behind this
        return;
    endIfExceeded(limits->exceededByTime(event->timerId(), encrypted, isLoggedIn()));
}

/// \a limit as ClientLimits names it; null: nothing is exceeded.
void OrvaneConnection::endIfExceeded(QLatin1String limit)
{
    if (limit.isNull() || !socketAttached)
        return;
    const InUse inUse(*this);
    release(limit, true);
    logExceededLimit(limit, peerOf(client()));
}

qint64 OrvaneConnection::unsentBytes() const
{
    if (!isConnected()) // nobody is left whom it could wait for
        return 0;
    const auto* sslSocket = qobject_cast<const QSslSocket*>(socket);
    return socket->bytesToWrite() + (sslSocket != nullptr ? sslSocket->encryptedBytesToWrite() : 0);
}

/// The end of the release. Until then the socket may be inside a signal of its own, and an event loop of the host would
/// carry out the deletion before that has returned. The object itself stays as long as the server, so it keeps nothing.
void OrvaneConnection::forget()
{
    socket->deleteLater();
    userName.clear();
    password.clear();
    events = {};
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
