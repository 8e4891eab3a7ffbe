#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <QTcpSocket>

/**
 * Frames the byte stream of one client into messages, each UTF-8 text ended by an empty line.
 *
 * Knows nothing of XML and sets no bound on a message. Each read is decoded on its own, before it is joined to what
 * came earlier: a character whose bytes are spread over two reads becomes replacement characters.
 *
 * Invariant: after readMessages() receiveBuffer holds no complete terminator.
 *
 * Thread: that of the socket; only the writing is guarded by a lock. No code of the host can run under it: a write only
 * adds to the socket's buffers, and one that is not connected any more, at which Qt would log a warning or report an
 * error, is left alone.
 */
class XMLSocket {
    Q_DISABLE_COPY_MOVE(XMLSocket)

public:
    /// \a socket is not owned and must outlive this object.
    explicit XMLSocket(QTcpSocket* socket);
    virtual ~XMLSocket();

    /// Reads what the socket has, up to \a most bytes; the messages that are now complete replace the content of
    /// messages. \return the number of bytes
    qint64 readMessages(qint64 most);

    /// Characters that have come of the next message, without what may turn out to belong to its terminator.
    qsizetype unfinishedLength() const { return searchedLength; }

    /// Writes one message, with the terminator unless it already ends with it. A write that fails is not reported.
    void writeMessage(const QString& message) { writeFrame(frame(message)); }

    /// The bytes that writeMessage() writes.
    static QByteArray frame(const QString& message);
    /// Writes what frame() has made: for a message to many clients, whose sockets then share the bytes.
    void writeFrame(const QByteArray& bytes);

    /// Hands what was written to the system now. The socket may report anything in it; no lock is held.
    void flush() { socket->flush(); }

private:
    /// Held while one message is written; taken after the server's registry mutex. There is one thread; should a host
    /// tell of the end of a refresh from another one all the same, no message is written into another.
    QMutex mutex;
    QTcpSocket* socket; ///< not owned
    QString receiveBuffer; ///< what has come since the last terminator

public:
    /// Complete messages, oldest first, without their terminators. The owner empties it after each readMessages().
    QList<QString> messages;

private:
    void splitReceiveBuffer(qsizetype firstTerminator);

    qsizetype searchedLength = 0; ///< no terminator begins before this position in receiveBuffer
};
