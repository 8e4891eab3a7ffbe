#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>

/**
 * The simplest possible server over TLS: answers each message with the same bytes, whatever it says.
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
