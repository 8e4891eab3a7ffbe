#include "TlsClient.h"

#include <QRandomGenerator>
#include <QTcpServer>

using namespace Qt::StringLiterals;

TlsClient::TlsClient(QObject* parent)
    : QSslSocket(parent)
{
    setPeerVerifyMode(QSslSocket::VerifyNone);
    connect(this, &QIODevice::readyRead, this, [this] { received += readAll(); });
}

void TlsClient::connectToPort(quint16 port)
{
    connectToHostEncrypted(u"127.0.0.1"_s, port);
}

void TlsClient::send(const QByteArray& document)
{
    write(document + "\r\n\r\n");
}

void TlsClient::loginAsOrvane()
{
    write(loginMessage());
}

void TlsClient::login(const QByteArray& user, const QByteArray& password)
{
    write(loginMessage(user, password));
}

QByteArray loginMessage(const QByteArray& user, const QByteArray& password)
{
    return "<loginClient><username>" + user + "</username><password>" + password + "</password></loginClient>\r\n\r\n";
}

quint16 freePort()
{
    QTcpServer server;
    // None that the system gives to whoever asks for any, or somebody else might have it soon.
    while (!server.listen(QHostAddress::Any, static_cast<quint16>(QRandomGenerator::global()->bounded(20000, 32768)))) {
    }
    return server.serverPort();
}

QByteArray reply(const QByteArray& element, const QByteArray& content)
{
    return "<p:" + element + " xmlns:p=\"http://www.halden.example/ravo_1_0/\">" + content + "</p:" + element
        + ">\r\n\r\n";
}

QByteArray shortAcceptance(const QByteArray& commandName)
{
    return reply("commandAccepted", "<commandname>" + commandName + "</commandname>");
}

QByteArray rejection(const QByteArray& commandName, const QByteArray& reason)
{
    return reply("commandRejected", "<commandname>" + commandName + "</commandname><reason>" + reason + "</reason>");
}

#include "moc_TlsClient.cpp"
