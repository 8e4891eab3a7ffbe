#include "HostConnection.h"

#include "Outcome.h"
#include "TerminalText.h"

#include <QRegularExpression>

#include <algorithm>

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// Bytes. More than any host has to say, and what the program can hold without harm.
constexpr qsizetype LongestMessage = qsizetype(1) << 27;

} // namespace

QList<QByteArray> MessageCutter::add(const QByteArray& bytes)
{
    buffer += bytes;
    QList<QByteArray> messages;
    qsizetype start = 0;
    qsizetype end = buffer.indexOf(MessageTerminator, searchedLength);
    for (; end >= 0; end = buffer.indexOf(MessageTerminator, start)) {
        messages.append(buffer.mid(start, end - start));
        start = end + MessageTerminator.size();
    }
    buffer.remove(0, start);
    // The last three bytes may be the beginning of a terminator; those before them are never searched again.
    searchedLength = std::max<qsizetype>(0, buffer.size() - (MessageTerminator.size() - 1));
    return messages;
}

namespace {

QString trace(QLatin1String mark, const QString& text)
{
    QString lines = mark;
    for (qsizetype i = 0; i < text.size(); ++i) {
        lines += visible(text[i]);
        if (text[i] == u'\n' && i + 1 < text.size())
            lines += u'\n' + mark;
    }
    return lines;
}

QString withoutPassword(QString text)
{
    static const QRegularExpression password(u"(<(?:[\\w.-]+:)?password\\b[^>]*>).*?(</|$)"_s,
        QRegularExpression::DotMatchesEverythingOption | QRegularExpression::UseUnicodePropertiesOption);
    return text.replace(password, u"\\1***\\2"_s);
}

} // namespace

QString traceOfSent(const QByteArray& bytes)
{
    return trace("> "_L1, withoutPassword(textOfBytes(bytes)));
}

QString traceOfReceived(const QByteArray& bytes)
{
    return trace("< "_L1, textOfBytes(bytes));
}

HostConnection::HostConnection(const ServerTrust& trust, bool traced, QObject* parent)
    : QObject(parent)
    , trust(trust)
    , isTraced(traced)
{
    socket.setSslConfiguration(trust.configuration());
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, this, &HostConnection::handleTimeout);
    // The errors are judged when the handshake is done, together with the certificate; nothing is sent before.
    connect(&socket, &QSslSocket::sslErrors, this, [this] { socket.ignoreSslErrors(); });
    connect(&socket, &QSslSocket::encrypted, this, &HostConnection::handleEncrypted);
    connect(&socket, &QSslSocket::errorOccurred, this, &HostConnection::handleError);
    connect(&socket, &QSslSocket::disconnected, this, &HostConnection::handleDisconnected);
    connect(&socket, &QSslSocket::readyRead, this, &HostConnection::handleReadyRead);
    // Queued: the signals come while encrypted bytes still stand where no count of the socket shows them.
    connect(&socket, &QSslSocket::bytesWritten, this, &HostConnection::bytesSent, Qt::QueuedConnection);
    connect(&socket, &QSslSocket::encryptedBytesWritten, this, &HostConnection::bytesSent, Qt::QueuedConnection);
}

HostConnection::~HostConnection()
{
    socket.disconnect(this); // it closes when it is destroyed, which is no news any more
}

void HostConnection::open(const QString& host, quint16 port, std::chrono::milliseconds timeout)
{
    abort();
    state = State::Connecting;
    cutter = {};
    hostName = host;
    hostPort = port;
    timer.start(timeout);
    socket.connectToHostEncrypted(host, port);
}

void HostConnection::abort()
{
    state = State::Ended;
    timer.stop();
    socket.abort();
}

void HostConnection::send(const QByteArray& message)
{
    const QByteArray bytes = message + MessageTerminator.toByteArray();
    if (isTraced)
        Q_EMIT traced(traceOfSent(bytes));
    socket.write(bytes);
}

void HostConnection::endSending()
{
    ::shutdown(static_cast<int>(socket.socketDescriptor()), SHUT_WR);
}

bool HostConnection::allSent() const
{
    return socket.bytesToWrite() == 0 && socket.encryptedBytesToWrite() == 0;
}

void HostConnection::handleEncrypted()
{
    timer.stop();
    const QString refusal = trust.refusal(socket.peerCertificate(), socket.sslHandshakeErrors());
    if (!refusal.isEmpty()) {
        fail(u"the certificate of %1 is refused: %2"_s.arg(peer(), refusal));
        return;
    }
    const auto [notice, refusalOfFirstUse] = trust.remember(socket.peerCertificate());
    if (!refusalOfFirstUse.isEmpty()) {
        fail(u"the certificate of %1 is refused: %2"_s.arg(peer(), refusalOfFirstUse));
        return;
    }
    state = State::Ready;
    if (!notice.isEmpty())
        Q_EMIT noticed(notice);
    Q_EMIT ready();
}

void HostConnection::handleError()
{
    if (state != State::Connecting)
        return; // disconnected() follows
    const bool reached = socket.mode() != QSslSocket::UnencryptedMode;
    const QString what = reached ? u"no TLS with %1: %2"_s : u"cannot connect to %1: %2"_s;
    fail(what.arg(peer(), socket.errorString().simplified()));
}

void HostConnection::handleDisconnected()
{
    if (state == State::Connecting)
        fail(u"no TLS with %1: it closed the connection"_s.arg(peer()));
    if (state != State::Ready)
        return;
    handleReadyRead();
    state = State::Ended;
    Q_EMIT closed();
}

void HostConnection::handleReadyRead()
{
    const QByteArray bytes = socket.readAll();
    if (state != State::Ready || bytes.isEmpty())
        return;
    if (isTraced)
        Q_EMIT traced(traceOfReceived(bytes));
    for (const QByteArray& message : cutter.add(bytes))
        Q_EMIT messageReceived(message);
    if (state == State::Ready && cutter.incompleteLength() > LongestMessage) {
        abort();
        Q_EMIT flooded();
    }
}

void HostConnection::handleTimeout()
{
    const bool reached = socket.state() == QAbstractSocket::ConnectedState;
    const QString what = reached ? u"no TLS with %1 within %2"_s : u"no connection to %1 within %2"_s;
    fail(what.arg(peer(), durationText(timer.intervalAsDuration())));
}

void HostConnection::fail(const QString& reason)
{
    abort();
    Q_EMIT failed(reason);
}

QString HostConnection::peer() const
{
    return u"%1:%2"_s.arg(hostName).arg(hostPort);
}

} // namespace OrvaneClient
