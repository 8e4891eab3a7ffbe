#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>

/**
 * The least that a server over TLS can be: answers each message with the same bytes, without looking at it.
 *
 * Its sockets have the same key, certificate and settings as those of the library.
 */
class FixedReplyServer : public QTcpServer {
    Q_OBJECT

public:
    explicit FixedReplyServer(QByteArray reply);

protected:
    void incomingConnection(qintptr socketDescriptor) override;

private:
    QByteArray reply;
    QSslKey privateKey;
    QSslCertificate certificate;
};
