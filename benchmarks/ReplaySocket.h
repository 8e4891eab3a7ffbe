#pragma once

#include <QByteArrayView>
#include <QTcpSocket>

#include <algorithm>
#include <cstring>

/// A socket without a network: hands out bytes in reads of a fixed size, and discards what is written to it.
class ReplaySocket : public QTcpSocket {
public:
    /// \a bytes must outlive the socket.
    ReplaySocket(QByteArrayView bytes, qsizetype readSize)
        : bytes(bytes)
        , readSize(readSize)
    {
        setOpenMode(QIODevice::ReadWrite | QIODevice::Unbuffered);
    }

    bool isFinished() const { return position == bytes.size(); }
    /// The size of the next readAll().
    qint64 bytesAvailable() const override { return std::min(readSize - sizeOfRead, bytes.size() - position); }
    /// Makes the bytes of the next read available.
    void nextRead() { sizeOfRead = 0; }

protected:
    qint64 readData(char* data, qint64 maximumSize) override
    {
        const qint64 size = std::min<qint64>(maximumSize, bytesAvailable());
        std::memcpy(data, bytes.data() + position, static_cast<size_t>(size));
        position += size;
        sizeOfRead += size;
        return size;
    }
    qint64 writeData(const char* /*data*/, qint64 size) override { return size; }

private:
    QByteArrayView bytes;
    qsizetype readSize;
    qsizetype position = 0;
    qsizetype sizeOfRead = 0; ///< how much of the current read has been taken
};
