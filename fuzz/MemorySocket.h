#pragma once

#include <QByteArray>
#include <QList>
#include <QTcpSocket>

#include <memory>

/// What has gone through a socket; it stays when the socket is deleted.
struct Traffic {
    QList<QByteArray> reads; ///< what was taken, one entry for each time that nothing was left
    QList<QByteArray> writes; ///< one entry for each write
};

/**
 * A connected socket without a network: what a peer sends is put into it, what is written to it is kept.
 *
 * It reports nothing by itself: who uses it says when readyRead() is emitted, also inside that signal itself, as a TLS
 * socket does.
 */
class MemorySocket : public QTcpSocket {
    Q_OBJECT

public:
    explicit MemorySocket(QObject* parent = nullptr);

    /// The bytes arrive; nothing is reported yet.
    void put(const QByteArray& bytes);
    /// The peer has left. What it sent before can still be read.
    void disconnectPeer();

    const std::shared_ptr<Traffic> traffic = std::make_shared<Traffic>();

    qint64 bytesAvailable() const override;
    void close() override;
    void disconnectFromHost() override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    QByteArray incoming;
    QByteArray reading;
};
