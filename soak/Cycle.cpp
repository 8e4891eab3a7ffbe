#include "Cycle.h"

#include <sys/socket.h>

namespace soak {

namespace {

/// Ends a connection with a reset instead of a close.
void reset(QAbstractSocket& socket)
{
    const linger option {1, 0};
    setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &option, sizeof option);
    socket.abort();
}

} // namespace

Cycle::Cycle(quint16 port, Leaving leaving)
    : leaving(leaving)
{
    connect(&socket, &QAbstractSocket::disconnected, this, [this] { done = true; });
    connect(&socket, &QAbstractSocket::errorOccurred, this, [this] { failed = done = true; });
    if (leaving == Leaving::InMidHandshake || leaving == Leaving::ByResetInMidHandshake) {
        connect(&socket, &QAbstractSocket::connected, this, &Cycle::startHandshake);
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
        return;
    }
    connect(&socket, &QSslSocket::encrypted, this, &Cycle::talk);
    connect(&socket, &QIODevice::readyRead, this, &Cycle::handleReply);
    socket.connectToPort(port);
}

void Cycle::startHandshake()
{
    socket.write(QByteArrayLiteral("\x16\x03\x01\x02\x00\x01")); // a ClientHello breaks off in its header
    socket.flush();
    leave(leaving == Leaving::ByResetInMidHandshake);
}

void Cycle::talk()
{
    socket.loginAsOrvane();
    if (leaving == Leaving::InMidMessage) {
        socket.write("<setPreset><presetn");
        leave(false);
        return;
    }
    socket.send("<setPreset/>");
}

void Cycle::handleReply()
{
    const QByteArray expected = shortAcceptance("setPreset");
    if (socket.received.size() < expected.size())
        return;
    failed = socket.received != expected;
    leave(leaving == Leaving::ByResetAfterReply);
}

void Cycle::leave(bool byReset)
{
    if (byReset) {
        reset(socket);
        done = true;
    } else {
        socket.disconnectFromHost();
    }
}

} // namespace soak
