#include "FixedReplyServer.h"

#include "TlsResource.h"

#include <QSslSocket>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView Terminator("\r\n\r\n");

} // namespace

FixedReplyServer::FixedReplyServer(QByteArray reply)
    : reply(std::move(reply))
    , privateKey(tlsResource(u"hxkey.pem"_s), QSsl::Rsa)
    , certificate(tlsResource(u"hxcert.pem"_s))
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
