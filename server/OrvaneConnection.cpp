#include "OrvaneConnection.h"

#include "ClientLimits.h"
#include "DebugLog.h"
#include "NetworkSocket.h"
#include "OrvaneServerPrivate.h"
#include "Replies.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QScopeGuard>
#include <QSslSocket>
#include <QTimerEvent>

#include <optional>
#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

using EventType = OrvaneClientEvent::Type;

/// A finished reply waits at most this long, plus the host call that is then running, for others to share its packet. A
/// short command takes a hundredth of this.
constexpr qint64 LongestWaitNs = 1'000'000;

} // namespace

/// Lives on the stack while host code may run or a signal of the socket is being handled. Socket and connection outlive
/// it, whatever happens to client and server meanwhile.
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
            watchNetwork();
            events.setEncrypted(sslSocket->peerCertificate());
            // Queued: Qt's handshake could not cope with a nested event loop of the host.
            QMetaObject::invokeMethod(this, &OrvaneConnection::tellEncrypted, Qt::QueuedConnection);
        });
    connect(socket, &QTcpSocket::errorOccurred, this, &OrvaneConnection::discardFurtherInput);

    const InUse inUse(*this);
    events.tell({.type = EventType::Connected}); // first: in the next log line the server may be destroyed
    qCDebug(defaultLog) << "New OrvaneConnection from" << socket->peerAddress();
    if (!socketAttached)
        return;

    connect(socket, &QTcpSocket::readyRead, this, &OrvaneConnection::handleReadyRead);
    connect(
        &NetworkSocket::of(*socket), &QIODevice::readyRead, this, &OrvaneConnection::checkUnsent); // after Qt has read
    connect(socket, &QTcpSocket::errorOccurred, this, &OrvaneConnection::handleSocketError, Qt::QueuedConnection);
    connect(socket, &QTcpSocket::disconnected, this, &OrvaneConnection::handleDisconnected, Qt::QueuedConnection);
    limits->start(this);

    // Without a usable key, encryption has failed before the signals were connected, and the socket stays open. In a
    // nested event loop of the message handler, the client may also have sent something or left.
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
    // In a nested event loop of a host call, the socket emits readyRead() again. Leave the bytes there: readMessages()
    // would replace the queue, and the next message must wait until this one has been carried out.
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

/// Precedes the client's messages; also called if the client sends none.
void OrvaneConnection::tellEncrypted()
{
    if (!encrypted || !socketAttached || std::exchange(isEncryptionTold, true))
        return;
    wakeNestedEventLoop();
    const InUse inUse(*this);
    events.tell({.type = EventType::Encrypted});
}

/// One of the nested calls has returned.
void OrvaneConnection::resume()
{
    wakeNestedEventLoop();
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
            endTurn(); // a partial read could end inside a character
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
    if (!std::exchange(isTurnOver, true))
        QMetaObject::invokeMethod(this, &OrvaneConnection::beginTurn, Qt::QueuedConnection);
}

/// The next round of the event loop has begun.
void OrvaneConnection::beginTurn()
{
    wakeNestedEventLoop();
    turnBytes = 0;
    isTurnOver = false;
    if (!socketAttached)
        return;
    if (hasEnded || socket->bytesAvailable() > 0)
        handleReadyRead();
    updateReading();
}

/// Stops reading while something is still to be carried out: on reading the end of the connection, Qt would close the
/// socket, and the replies could not be sent. The same while a client that has ended its TLS session still reads, and
/// while it may have ended it, because Qt has not decrypted everything.
void OrvaneConnection::updateReading()
{
    if (!socketAttached)
        return;
    const bool mustAnswerFirst = isSilent && (dispatching || isHeld || sendableBytes() > 0);
    const bool mayMissEnd = dispatching && NetworkSocket::of(*socket).bytesAvailable() > 0;
    const bool mayRead = !isTurnOver && !mustAnswerFirst && !mayMissEnd;
    if (std::exchange(isReading, mayRead) == mayRead)
        return;
    const auto notifiers = NetworkSocket::notifiers(*socket, QSocketNotifier::Read);
    for (QSocketNotifier* notifier : notifiers)
        notifier->setEnabled(mayRead);
}

qint64 OrvaneConnection::bytesOfTurn() const
{
    return isLoggedIn() ? Acceptor::BytesOfClient : Acceptor::BytesOfStranger;
}

/// Sends the replies itself instead of leaving them to the next round of the event loop: waiting for that takes longer
/// than sending, and all host calls of this read would come first. Replies to short commands leave together, in fewer
/// packets. A flush may show that the client has left, which changes nothing here.
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
            flush();
            sinceFlush.start();
        }
    }
}

/// \return false if the client has exceeded a limit and is disconnected
bool OrvaneConnection::isAllowed(const QString& message)
{
    // Before the message, not after the reply: a client that reads each reply first cannot exceed the limit.
    if (!limits->exceededByUnsent(unsentBytes(), true).isNull()) {
        flush(); // what the system can take is not waiting for the client
        endIfExceeded(limits->exceededByUnsent(unsentBytes(), true));
    }
    if (socketAttached)
        endIfExceeded(limits->exceededByMessage(message.size(), isLoggedIn()));
    return socketAttached;
}

/// Passes the replies to the system now.
void OrvaneConnection::flush()
{
    if (isSilent) {
        socket->flush();
        return;
    }
    NetworkSocket::transmit(*socket);
    receiveRest(); // last: in what follows, a reset would be found too late
    NetworkSocket::of(*socket).flush();
}

/// Qt itself sends what the system could not take at once, what was written before a nested event loop, and a large
/// reply in several pieces. A reset must be found before each of these.
void OrvaneConnection::watchNetwork()
{
    QTcpSocket& network = NetworkSocket::of(*socket);
    connect(&network, &QIODevice::bytesWritten, this, [this, &network] {
        if (network.bytesToWrite() > 0)
            receiveRest();
    });
    socket->installEventFilter(this);
    for (const auto type : {QSocketNotifier::Read, QSocketNotifier::Write}) {
        const auto notifiers = NetworkSocket::notifiers(*socket, type);
        for (QSocketNotifier* notifier : notifiers)
            notifier->installEventFilter(this);
    }
}

bool OrvaneConnection::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::SockAct) {
        auto* notifier = static_cast<QSocketNotifier*>(watched);
        if (notifier->type() == QSocketNotifier::Read)
            return isKeptFromReading(*notifier);
        receiveRest();
    }
    if (event->type() == QEvent::MetaCall && socketAttached && socket->bytesToWrite() > 0) {
        const InUse inUse(*this);
        flush(); // as Qt is about to do
    }
    return false;
}

/// In a nested event loop Qt receives without decrypting, because it is already emitting readyRead(). It would find the
/// end of the connection first, and then have no use for the end of the TLS session before it.
bool OrvaneConnection::isKeptFromReading(QSocketNotifier& notifier)
{
    if (!dispatching || !socketAttached || NetworkSocket::isReset(*socket))
        return false;
    NetworkSocket::transmit(*socket);
    updateReading();
    if (!isReading)
        notifier.setEnabled(false); // Qt may have enabled it again
    return !isReading;
}

/// Sending to a client that has closed without reading its replies makes Qt close the socket, and discard what the
/// client had sent. So receive that first. It is no more than the system had room for.
void OrvaneConnection::receiveRest()
{
    if (!socketAttached || isSilent || !NetworkSocket::isReset(*socket))
        return;
    endTurn(); // nothing is carried out in here
    acceptor->setStranger(*socket, false); // which would have to wait for the strangers' turn
    NetworkSocket::receiveAll(*socket);
}

/// After a TLS error or the end of its TLS session, the client can send no more messages. Qt would pass any further
/// input to the TLS library, which keeps it forever. The client still receives its replies.
void OrvaneConnection::discardFurtherInput(QAbstractSocket::SocketError error)
{
    if (isSilent || !encrypted || !isConnected() || socket->error() != error)
        return;
    isSilent = true;
    hasTlsFailed = error != QAbstractSocket::RemoteHostClosedError;
    QTcpSocket& network = NetworkSocket::of(*socket);
    disconnect(&network, &QIODevice::readyRead, nullptr, nullptr);
    connect(&network, &QIODevice::readyRead, this, [&network] { network.skip(network.bytesAvailable()); });
    connect(&network, &QIODevice::bytesWritten, this, &OrvaneConnection::updateReading);
    updateReading();
}

/// Responses of TLS itself, such as a refusal to renegotiate, wait for the client like replies.
void OrvaneConnection::checkUnsent()
{
    if (!dispatching && socketAttached && limits && !std::exchange(isHeard, false))
        endIfExceeded(limits->exceededByUnsent(unsentBytes(), isLoggedIn()));
}

/// An error alone ends nothing: the client remains until the socket emits disconnected().
void OrvaneConnection::handleSocketError(QAbstractSocket::SocketError error)
{
    wakeNestedEventLoop();
    std::optional<InUse> inUse;
    if (socketAttached) // otherwise the socket may already be waiting for its deletion
        inUse.emplace(*this);
    if (!encrypted && socketAttached) // before the log line, in which the client may be released
        events.tell({.type = EventType::HandshakeFailed, .reason = socket->errorString()});
    qCDebug(defaultLog) << "OrvaneConnection socket error:" << error;
}

/// Earlier messages are carried out first. If the end is met while a host call runs events, they are discarded.
void OrvaneConnection::handleDisconnected()
{
    wakeNestedEventLoop();
    hasEnded = true;
    if (isInCall)
        release();
    else
        handleReadyRead();
}

/// \a reason is that of the event; if null, the socket's own. If \a isLimit, it is the limit that was exceeded.
void OrvaneConnection::release(QLatin1String reason, bool isLimit)
{
    if (!socketAttached)
        return;

    const InUse inUse(*this);
    const QString why = reason.isNull() ? socket->errorString() : reason.toString(); // close() clears it
    socketAttached = false; // first: close() can emit disconnected() at once
    xmlSocket.reset();
    limits.reset();
    socket->close();
    if (isLimit)
        events.tell({.type = EventType::ExceededLimit, .reason = why});
    events.tell({.type = EventType::Disconnected, .reason = why});
}

bool OrvaneConnection::event(QEvent* event)
{
    if (event->type() == QEvent::ThreadChange && limits) {
        // Qt would register the timers anew later than it delivers what was posted before, even if that stops them.
        limits->pause();
        const auto resumeLimits = [this] {
            if (limits)
                limits->resume(this);
        };
        QMetaObject::invokeMethod(this, resumeLimits, Qt::QueuedConnection);
    }
    return QObject::event(event);
}

void OrvaneConnection::timerEvent(QTimerEvent* event)
{
    if (dispatching || isHeld || !socketAttached) // what the client has sent meanwhile is still waiting
        return;
    endIfExceeded(limits->exceededByTime(event->timerId(), encrypted, isLoggedIn()));
}

/// \a limit as named by ClientLimits; null if none is exceeded.
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
    if (!isConnected()) // nobody is left to read them
        return 0;
    const auto* sslSocket = qobject_cast<const QSslSocket*>(socket);
    return socket->bytesToWrite() + (sslSocket != nullptr ? sslSocket->encryptedBytesToWrite() : 0);
}

/// Those of unsentBytes() that can still be sent: after a TLS error, nothing more is encrypted.
qint64 OrvaneConnection::sendableBytes() const
{
    const auto* sslSocket = qobject_cast<const QSslSocket*>(socket);
    return hasTlsFailed && sslSocket != nullptr ? sslSocket->encryptedBytesToWrite() : unsentBytes();
}

/// Completes the release. Before, the socket may be inside one of its own signals, and a nested event loop of the host
/// would delete it before that returns. This object lives as long as the server, so it keeps no data.
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

    // The host destroys the server inside a host call or a log line, with the socket's signal and this object still on
    // the stack. Leave the server's object tree: the socket is deleted once they have returned, together with this
    // object.
    socket->setParent(nullptr);
    setParent(socket);
}

} // namespace OrvaneInterface

#include "moc_OrvaneConnection.cpp"
