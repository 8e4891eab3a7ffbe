#pragma once

#include <QTcpSocket>

#include <algorithm>
#include <memory>
#include <utility>

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
public:
    explicit MemorySocket(QObject* parent = nullptr)
        : QTcpSocket(parent)
    {
        setSocketState(ConnectedState);
        setOpenMode(ReadWrite | Unbuffered);
    }

    const std::shared_ptr<Traffic> traffic = std::make_shared<Traffic>();

    /// The bytes arrive; nothing is reported yet.
    void put(const QByteArray& bytes)
    {
        if (state() == ConnectedState)
            incoming += bytes;
    }

    /// The peer leaves, too. What it sent before can still be read.
    void disconnectFromHost() override
    {
        if (state() == UnconnectedState)
            return;
        setSocketState(UnconnectedState);
        Q_EMIT disconnected();
    }

    void close() override
    {
        setOpenMode(NotOpen);
        incoming.clear();
        disconnectFromHost();
    }

    qint64 bytesAvailable() const override { return incoming.size() + QTcpSocket::bytesAvailable(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const QByteArray taken = incoming.first(std::min<qsizetype>(maxSize, incoming.size()));
        std::copy(taken.begin(), taken.end(), data);
        incoming.remove(0, taken.size());
        reading += taken;
        if (incoming.isEmpty() && !taken.isEmpty())
            traffic->reads += std::exchange(reading, {});
        return taken.size();
    }

    qint64 writeData(const char* data, qint64 size) override
    {
        traffic->writes += QByteArray(data, size);
        return size;
    }

private:
    QByteArray incoming;
    QByteArray reading;
};
