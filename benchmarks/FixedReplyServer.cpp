#include "FixedReplyServer.h"

#include <QFile>
#include <QSslSocket>

#include <utility>

namespace {

constexpr QByteArrayView Terminator("\r\n\r\n");

QByteArray resource(const QString& name)
{
    QFile file(QLatin1String(":/Halden/Resources/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

FixedReplyServer::FixedReplyServer(QByteArray reply)
    : reply(std::move(reply))
    , privateKey(resource(QStringLiteral("hxkey.pem")), QSsl::Rsa)
    , certificate(resource(QStringLiteral("hxcert.pem")))
{
}

void FixedReplyServer::incomingConnection(qintptr socketDescriptor)
{
    auto* socket = new QSslSocket(this);
    socket->setProtocol(QSsl::SecureProtocols);
    socket->setSocketDescriptor(socketDescriptor);
    socket->setPrivateKey(privateKey);
    socket->setLocalCertificate(certificate);
    socket->setPeerVerifyMode(QSslSocket::VerifyNone);
    socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket, &QIODevice::readyRead, this, [this, socket, received = QByteArray()]() mutable {
        received += socket->readAll();
        qsizetype begin = 0;
        for (qsizetype end = 0; (end = received.indexOf(Terminator, begin)) >= 0; begin = end + Terminator.size())
            socket->write(reply);
        received.remove(0, begin);
    });
    socket->startServerEncryption();
}
