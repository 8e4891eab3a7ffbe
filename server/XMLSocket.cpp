#include "XMLSocket.h"

#include "Protocol.h"

#include <QMutexLocker>

#include <algorithm>
#include <utility>

using OrvaneInterface::MessageTerminator;

namespace {

/// Goes from one carriage return to the next: Qt's search for a single character is vectorised.
qsizetype findTerminator(QStringView text, qsizetype from)
{
    for (qsizetype position = from; (position = text.indexOf(u'\r', position)) >= 0; ++position) {
        if (text.mid(position, MessageTerminator.size()) == MessageTerminator)
            return position;
    }
    return -1;
}

} // namespace

XMLSocket::XMLSocket(QTcpSocket* socket)
    : socket(socket)
{
}

XMLSocket::~XMLSocket()
{
    // Waits for a write that holds the mutex.
    const QMutexLocker locker(&mutex);
}

qint64 XMLSocket::readMessages(qint64 most)
{
    const qint64 available = std::min(most, socket->bytesAvailable());
    const QByteArray bytes = available > 0 ? socket->read(available) : QByteArray(); // it may already be closed
    receiveBuffer += QString::fromUtf8(bytes);

    const qsizetype firstTerminator = findTerminator(receiveBuffer, searchedLength);
    if (firstTerminator >= 0)
        splitReceiveBuffer(firstTerminator);
    // The last three characters may be the start of a terminator. The text before them is never searched again.
    searchedLength = std::max<qsizetype>(0, receiveBuffer.size() - (MessageTerminator.size() - 1));
    return bytes.size();
}

void XMLSocket::splitReceiveBuffer(qsizetype firstTerminator)
{
    QString received = std::exchange(receiveBuffer, {});

    messages.clear();
    messages.append(QString());
    qsizetype begin = firstTerminator + MessageTerminator.size();
    for (qsizetype end = 0; (end = findTerminator(received, begin)) >= 0; begin = end + MessageTerminator.size())
        messages.append(received.mid(begin, end - begin));
    receiveBuffer = received.mid(begin);

    // The first message takes over the text instead of copying it: only this one can be large.
    received.truncate(firstTerminator);
    messages.first() = std::move(received);
}

QByteArray XMLSocket::frame(const QString& message)
{
    QByteArray bytes = message.toUtf8();
    const QByteArrayView terminator(MessageTerminator.data(), MessageTerminator.size());
    if (!bytes.endsWith(terminator))
        bytes.append(terminator);
    return bytes;
}

void XMLSocket::writeFrame(const QByteArray& bytes)
{
    const QMutexLocker locker(&mutex);
    if (socket->state() == QAbstractSocket::ConnectedState)
        socket->write(bytes);
}
