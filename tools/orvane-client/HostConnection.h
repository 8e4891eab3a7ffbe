#pragma once

#include "ServerTrust.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSslSocket>
#include <QString>
#include <QTimer>

#include <chrono>

namespace OrvaneClient {

/// What ends every message, in both directions.
constexpr QByteArrayView MessageTerminator("\r\n\r\n");

/// Cuts a byte stream into messages, whatever the pieces are in which it arrives. Knows no text encoding.
class MessageCutter {
public:
    /// The messages that these bytes complete, without their ends.
    QList<QByteArray> add(const QByteArray& bytes);

    /// How many bytes wait for the end of their message.
    qsizetype incompleteLength() const { return buffer.size(); }

private:
    QByteArray buffer;
    qsizetype searchedLength = 0;
};

/// Bytes that were sent, made visible: one line for each line, marked ">", the password of a login blanked out.
QString traceOfSent(const QByteArray& bytes);

/// Bytes that were received, as they came in one read, marked "<".
QString traceOfReceived(const QByteArray& bytes);

/// A TLS connection to a host: it judges the certificate before a byte is sent, and cuts what arrives into messages.
/// Knows neither XML nor commands.
class HostConnection : public QObject {
    Q_OBJECT

public:
    HostConnection(const ServerTrust& trust, bool traced, QObject* parent);
    ~HostConnection() override;
    Q_DISABLE_COPY_MOVE(HostConnection)

    /// Also again, when a connection has ended.
    void open(const QString& host, quint16 port, std::chrono::milliseconds timeout);
    /// Ends the connection, or the attempt, without a signal.
    void abort();
    bool isReady() const { return state == State::Ready; }
    bool hasEnded() const { return state == State::Ended; }
    /// Sends one message; the end of message is added.
    void send(const QByteArray& message);
    /// Tells the host that nothing more comes, and goes on reading until it closes too; closed() follows then. Closing
    /// at once could make the system drop what the host has not read yet.
    void endSending();

    bool allSent() const;
    qsizetype incompleteLength() const { return cutter.incompleteLength(); }
    QSslCertificate certificate() const { return socket.peerCertificate(); }

Q_SIGNALS:
    void ready();
    /// There is no connection, or no trust in it. The last signal of this connection.
    void failed(const QString& reason);
    /// The connection has ended after it was ready. The last signal of it.
    void closed();
    /// It has been ended because the host sent one message without an end. The last signal of it.
    void flooded();
    void messageReceived(const QByteArray& message);
    void bytesSent();
    void traced(const QString& lines);
    /// Something that a person wants to know.
    void noticed(const QString& what);

private:
    enum class State { Connecting, Ready, Ended };

    void handleEncrypted();
    void handleError();
    void handleDisconnected();
    void handleReadyRead();
    void handleTimeout();
    void fail(const QString& reason);
    QString peer() const;

    QSslSocket socket;
    QTimer timer;
    ServerTrust trust;
    MessageCutter cutter;
    QString hostName;
    quint16 hostPort = 0;
    State state = State::Ended;
    bool isTraced;
};

} // namespace OrvaneClient
