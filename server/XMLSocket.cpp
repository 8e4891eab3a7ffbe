#include "XMLSocket.h"

#include <QMutexLocker>
#include <QTcpSocket>

#include <algorithm>
#include <utility>

XMLSocket::XMLSocket(QTcpSocket* socket)
    : socket(socket)
{
}

XMLSocket::~XMLSocket()
{
    // A write that holds the mutex at this moment finishes first.
    const QMutexLocker locker(&mutex);
}

void XMLSocket::readMessages()
{
    receiveBuffer += QString::fromUtf8(socket->readAll());

    const qsizetype firstTerminator = receiveBuffer.indexOf(MessageTerminator, searchedLength);
    if (firstTerminator < 0) {
        // The last three characters may be the beginning of a terminator; the text before them is never searched again.
        searchedLength = std::max<qsizetype>(0, receiveBuffer.size() - (MessageTerminator.size() - 1));
        return;
    }
    splitReceiveBuffer(firstTerminator);
}

void XMLSocket::splitReceiveBuffer(qsizetype firstTerminator)
{
    // The first message takes the buffer over instead of copying from it: it is the one that can be large.
    const qsizetype rest = firstTerminator + MessageTerminator.size();
    messages = QStringView(receiveBuffer).mid(rest).toString().split(MessageTerminator, Qt::KeepEmptyParts);
    receiveBuffer.truncate(firstTerminator);
    messages.prepend(std::exchange(receiveBuffer, {}));
    receiveBuffer = messages.takeLast();
    searchedLength = 0;
}

void XMLSocket::writeMessage(const QString& message)
{
    const QMutexLocker locker(&mutex);
    QByteArray bytes = message.toUtf8();
    const QByteArrayView terminator(MessageTerminator.data(), MessageTerminator.size());
    if (!bytes.endsWith(terminator))
        bytes.append(terminator);
    socket->write(bytes);
}
