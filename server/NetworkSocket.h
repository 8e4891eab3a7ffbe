#pragma once

#include <QSocketNotifier>
#include <QTcpSocket>

/**
 * What a client's socket does not offer itself: access to the plain socket that Qt's TLS socket reads from and writes
 * to, and to its notifiers.
 */
namespace OrvaneInterface::NetworkSocket {

/// The plain socket inside \a socket; \a socket itself if it has none.
QTcpSocket& of(QTcpSocket& socket);

/// The notifiers of \a type of \a socket.
QList<QSocketNotifier*> notifiers(const QTcpSocket& socket, QSocketNotifier::Type type);

/// Whether the client has closed its connection without reading everything. What it had sent can still be received, but
/// sending fails. Always false on Windows, which discards what was received.
bool isReset(const QTcpSocket& socket);

/// Encrypts what is to be sent, and decrypts what Qt has received, without using the network. \a socket may emit
/// readyRead().
void transmit(QTcpSocket& socket);

/// Receives and decrypts everything that the system has received, whatever the read buffer size. \a socket may emit
/// readyRead().
void receiveAll(QTcpSocket& socket);

} // namespace OrvaneInterface::NetworkSocket
