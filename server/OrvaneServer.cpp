#include "OrvaneServer.h"

#include "AcceptRetry.h"
#include "DebugLog.h"
#include "OrvaneConnection.h"
#include "Replies.h"

#include <QFile>
#include <QNetworkProxy>
#include <QPointer>
#include <QSslSocket>
#include <QVariant>

#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

const unsigned short OrvaneServer::OrvaneDefaultPort = 5679;

OrvaneServer::OrvaneServer(
    OrvaneInterface* hostInterface, quint16 port, QString userName, QString password, QObject* parent)
    : QTcpServer(parent)
    , hostInterface(hostInterface)
    , port(port == 0 ? OrvaneDefaultPort : port)
    , certificate(QByteArray(), QSsl::Pem)
    , userName(std::move(userName))
    , password(std::move(password))
{
    qRegisterMetaType<QList<QSslError>>();

    QFile keyFile(u":/Halden/Resources/hxkey.pem"_s);
    if (keyFile.open(QIODevice::ReadOnly))
        privateKey = QSslKey(keyFile.readAll(), QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey);

    QFile certificateFile(u":/Halden/Resources/hxcert.pem"_s);
    if (certificateFile.open(QIODevice::ReadOnly))
        certificate = QSslCertificate(certificateFile.readAll(), QSsl::Pem);

    new AcceptRetry(this); // first: it must hear of a client before an event loop of the host accepts the next one
    connect(this, &QTcpServer::newConnection, this, &OrvaneServer::handleNewConnection);
}

OrvaneServer::~OrvaneServer()
{
    close();
    // Not the registry: a connection that it has dropped can still be in the middle of a host call.
    const auto all = findChildren<OrvaneConnection*>(QString(), Qt::FindDirectChildrenOnly);
    for (OrvaneConnection* connection : all)
        connection->leaveServer();
}

void OrvaneServer::startListeningForConnection()
{
    listen(QHostAddress::Any, port);
}

void OrvaneServer::incomingConnection(qintptr socketDescriptor)
{
    auto* socket = new QSslSocket(this);
    connect(socket, qOverload<const QList<QSslError>&>(&QSslSocket::sslErrors), this, &OrvaneServer::sslErrors);
    socket->setProtocol(QSsl::SecureProtocols);
    socket->setSocketDescriptor(socketDescriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite);
    socket->setPrivateKey(privateKey);
    socket->setLocalCertificate(certificate);
    socket->setPeerVerifyMode(QSslSocket::VerifyNone);
    socket->startServerEncryption();
    addPendingConnection(socket);
}

void OrvaneServer::handleNewConnection()
{
    {
        const std::lock_guard lock(connectionsMutex);
        removeDisconnectedConnections();
    }
    // A connection writes log lines, and calls the host if its client has sent something by then: the next client may
    // come inside of it, the refresh may end, and the server may be destroyed. So nothing of it happens under the lock.
    const QPointer<OrvaneServer> server(this);
    while (server && hasPendingConnections()) {
        QTcpSocket* socket = nextPendingConnection();
        socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        socket->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        auto* connection = new OrvaneConnection(hostInterface, socket, userName, password, this);
        if (!server)
            return;
        {
            const std::lock_guard lock(connectionsMutex);
            connections.push_back(connection);
        }
        connection->takeUpSocket();
    }
}

/// The caller holds connectionsMutex. The connections that are dropped live on as children of the server.
void OrvaneServer::removeDisconnectedConnections()
{
    std::erase_if(connections, [](const OrvaneConnection* connection) { return !connection->isAttached(); });
}

void OrvaneServer::handleUpdateAllTreeDevicesFinished()
{
    // Nothing of the host can run under the lock: see XMLSocket.
    const std::lock_guard lock(connectionsMutex);
    const QByteArray notice = XMLSocket::frame(refreshFinishedNotice());
    // Clients that have left are still in the registry; where they waited, the notice reaches nobody.
    for (OrvaneConnection* connection : connections)
        connection->notifyRefreshFinished(notice);
}

void OrvaneServer::sslErrors(const QList<QSslError>& errors)
{
    for (const QSslError& error : errors)
        qCDebug(defaultLog) << error.errorString();
}

} // namespace OrvaneInterface
