#include "NetworkSocket.h"

#include <QCoreApplication>

#ifdef Q_OS_UNIX
#include <poll.h>
#include <sys/ioctl.h>
#endif

namespace OrvaneInterface::NetworkSocket {

namespace {

int receivableBytes(const QTcpSocket& socket)
{
    int bytes = 0;
#ifdef Q_OS_UNIX
    ioctl(static_cast<int>(socket.socketDescriptor()), FIONREAD, &bytes);
#else
    Q_UNUSED(socket)
#endif
    return bytes;
}

} // namespace

QTcpSocket& of(QTcpSocket& socket)
{
    auto* inner = socket.findChild<QTcpSocket*>(QString(), Qt::FindDirectChildrenOnly);
    return inner != nullptr ? *inner : socket;
}

QList<QSocketNotifier*> notifiers(const QTcpSocket& socket, QSocketNotifier::Type type)
{
    auto all = socket.findChildren<QSocketNotifier*>();
    all.removeIf([type](const QSocketNotifier* notifier) { return notifier->type() != type; });
    return all;
}

bool isReset(const QTcpSocket& socket)
{
#ifdef Q_OS_UNIX
    pollfd state {.fd = static_cast<int>(socket.socketDescriptor()), .events = 0, .revents = 0};
    return poll(&state, 1, 0) == 1 && (state.revents & (POLLERR | POLLHUP)) != 0;
#else
    Q_UNUSED(socket)
    return false;
#endif
}

void transmit(QTcpSocket& socket)
{
    QTcpSocket& network = of(socket);
    if (network.isOpen())
        Q_EMIT network.readyRead(); // also has an effect while Qt is emitting it
}

void receiveAll(QTcpSocket& socket)
{
    const qint64 readBufferSize = socket.readBufferSize();
    socket.setReadBufferSize(0);
    if (receivableBytes(socket) > 0) { // otherwise Qt would find the end, and discard what it has not decrypted
        QEvent activation(QEvent::SockAct);
        for (QSocketNotifier* notifier : notifiers(socket, QSocketNotifier::Read))
            QCoreApplication::sendEvent(notifier, &activation);
    }
    transmit(socket);
    socket.setReadBufferSize(readBufferSize);
}

} // namespace OrvaneInterface::NetworkSocket
