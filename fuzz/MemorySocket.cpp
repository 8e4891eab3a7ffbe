#include "MemorySocket.h"

#include <algorithm>
#include <utility>

MemorySocket::MemorySocket(QObject* parent)
    : QTcpSocket(parent)
{
    setSocketState(ConnectedState);
    setOpenMode(ReadWrite | Unbuffered);
}

void MemorySocket::put(const QByteArray& bytes)
{
    if (state() == ConnectedState)
        incoming += bytes;
}

void MemorySocket::disconnectPeer()
{
    if (state() == UnconnectedState)
        return;
    setSocketState(UnconnectedState);
    Q_EMIT disconnected();
}

qint64 MemorySocket::bytesAvailable() const
{
    return incoming.size() + QTcpSocket::bytesAvailable();
}

void MemorySocket::close()
{
    setOpenMode(NotOpen);
    incoming.clear();
    disconnectPeer();
}

void MemorySocket::disconnectFromHost()
{
    disconnectPeer();
}

qint64 MemorySocket::readData(char* data, qint64 maxSize)
{
    const qsizetype size = std::min<qsizetype>(maxSize, incoming.size());
    if (size == 0)
        return 0;
    std::copy_n(incoming.cbegin(), size, data);
    reading += incoming.first(size);
    incoming.remove(0, size);
    if (incoming.isEmpty())
        traffic->reads += std::exchange(reading, {});
    return size;
}

qint64 MemorySocket::writeData(const char* data, qint64 size)
{
    traffic->writes += QByteArray(data, size);
    return size;
}
