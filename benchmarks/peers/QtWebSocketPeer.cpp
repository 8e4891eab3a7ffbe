#include "PeerServers.h"

#include "QuietHost.h"
#include "ServerProcess.h"
#include "TlsResource.h"

#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QTcpSocket>
#include <QWebSocket>
#include <QWebSocketServer>

using namespace Qt::StringLiterals;

namespace {

QJsonObject showLive(QuietHost& host, const QJsonObject& command)
{
    int splitId = command["splitid"_L1].toInt(-1);
    host.showLive(command["recorder"_L1].toString().toStdString(), command["camera"_L1].toInt(-1),
        command["alarm"_L1].toInt() != 0, splitId);
    return {{u"reply"_s, u"commandAccepted"_s}, {u"command"_s, u"showLive"_s}, {u"splitid"_s, splitId},
        {u"commandtag"_s, command["commandtag"_L1]}};
}

QString answer(QuietHost& host, const QString& message)
{
    static const QHash<QString, QJsonObject (*)(QuietHost&, const QJsonObject&)> handlers {{u"showLive"_s, showLive}};
    const QJsonObject command = QJsonDocument::fromJson(message.toUtf8()).object();
    const auto handler = handlers.value(command["command"_L1].toString());
    const QJsonObject reply = handler ? handler(host, command) : QJsonObject {{u"reply"_s, u"commandRejected"_s}};
    return QString::fromUtf8(QJsonDocument(reply).toJson(QJsonDocument::Compact));
}

QSslConfiguration tlsConfiguration()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPrivateKey(QSslKey(tlsResource(u"hxkey.pem"_s), QSsl::Rsa));
    configuration.setLocalCertificate(QSslCertificate(tlsResource(u"hxcert.pem"_s)));
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

} // namespace

int serveWithQtWebSockets(quint16 port)
{
    QuietHost host;
    QWebSocketServer webSockets(u"bench_peers"_s, QWebSocketServer::SecureMode);
    QObject::connect(&webSockets, &QWebSocketServer::newConnection, [&] {
        QWebSocket* socket = webSockets.nextPendingConnection();
        QObject::connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
        QObject::connect(socket, &QWebSocket::textMessageReceived,
            [&host, socket](const QString& message) { socket->sendTextMessage(answer(host, message)); });
    });
    // Replaces the WebSocket server's own, whose sockets cannot be set to send without delay.
    QSslServer server;
    server.setSslConfiguration(tlsConfiguration());
    QObject::connect(&server, &QTcpServer::pendingConnectionAvailable, [&] {
        QTcpSocket* socket = server.nextPendingConnection();
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        webSockets.handleConnection(socket);
    });
    server.listen(QHostAddress::LocalHost, port);
    return serveUntilInputEnds(server);
}
