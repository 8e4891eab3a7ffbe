#pragma once

#include <QTcpSocket>

#include <algorithm>

/// A connected socket without a network: put() is what the peer sends; written bytes are kept.
class MemorySocket : public QTcpSocket {
public:
    MemorySocket()
    {
        setSocketState(ConnectedState);
        setOpenMode(ReadWrite | Unbuffered);
    }

    void put(const QByteArray& bytes) { incoming += bytes; }

    qint64 bytesAvailable() const override { return incoming.size() + QTcpSocket::bytesAvailable(); }

    QList<QByteArray> writes; ///< one entry for each write

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const QByteArray taken = incoming.first(std::min<qsizetype>(maxSize, incoming.size()));
        std::copy(taken.begin(), taken.end(), data);
        incoming.remove(0, taken.size());
        return taken.size();
    }

    qint64 writeData(const char* data, qint64 size) override
    {
        writes += QByteArray(data, size);
        return size;
    }

private:
    QByteArray incoming;
};
