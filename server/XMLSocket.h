#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <QTcpSocket>

/**
 * Splits the byte stream of one client into messages: UTF-8 text, each ended by an empty line.
 *
 * Knows no XML and does not limit the length of a message. Each read is decoded on its own, then appended to what came
 * earlier: a character split between two reads becomes replacement characters.
 *
 * Invariant: after readMessages(), receiveBuffer contains no complete terminator.
 *
 * Thread: the socket's; only writing is guarded by a lock. No host code can run under it: a write only adds to the
 * socket's buffers. A disconnected socket is not written to, since Qt would log a warning or report an error.
 */
class XMLSocket {
    Q_DISABLE_COPY_MOVE(XMLSocket)

public:
    /// \a socket is not owned and must outlive this object.
    explicit XMLSocket(QTcpSocket* socket);
    virtual ~XMLSocket();

    /// Reads up to \a most of the available bytes. Newly completed messages replace the content of messages.
    /// \return the number of bytes read
    qint64 readMessages(qint64 most);

    /// Characters received of the next message, without those that may belong to its terminator.
    qsizetype unfinishedLength() const { return searchedLength; }

    /// Writes one message, and its terminator unless it already ends with one. Failed writes are not reported.
    void writeMessage(const QString& message) { writeFrame(frame(message)); }

    /// The bytes that writeMessage() writes.
    static QByteArray frame(const QString& message);
    /// Writes the result of frame(): for a message to many clients, whose sockets then share the bytes.
    void writeFrame(const QByteArray& bytes);

private:
    /// Held while a message is written; locked after the server's registry mutex. There is only one thread, but
    /// messages stay whole even if a host reports the end of a refresh from another one.
    QMutex mutex;
    QTcpSocket* socket; ///< not owned
    QString receiveBuffer; ///< text received since the last terminator

public:
    /// Complete messages, oldest first, without their terminators. The owner empties it after each readMessages().
    QList<QString> messages;

private:
    void splitReceiveBuffer(qsizetype firstTerminator);

    qsizetype searchedLength = 0; ///< no terminator begins before this position in receiveBuffer
};
