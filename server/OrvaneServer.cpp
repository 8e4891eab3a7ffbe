#include "OrvaneServer.h"

#include "AcceptRetry.h"
#include "AuditLog.h"
#include "DebugLog.h"
#include "OrvaneConnection.h"
#include "Replies.h"
#include "ServerSettings.h"
#include "TlsTrouble.h"

#include <QFile>
#include <QHostAddress>
#include <QNetworkProxy>
#include <QPointer>
#include <QSslSocket>
#include <QVariant>

#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

const QString KeyResource = u":/Halden/Resources/hxkey.pem"_s;
const QString CertificateResource = u":/Halden/Resources/hxcert.pem"_s;

/// Nothing when it cannot be opened.
QByteArray contentOf(const QString& resource)
{
    QFile file(resource);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Why a resource gave no key, or no certificate.
QString resourceTrouble(const QString& resource, const QString& expected)
{
    const QByteArray content = contentOf(resource);
    if (content.isEmpty())
        return QFile::exists(resource) ? resource + u" is empty"_s : u"There is no resource "_s + resource;
    if (content.contains("ENCRYPTED"))
        return resource + u" has a pass phrase"_s;
    return resource + u" is not "_s + expected;
}

ServerSettings& settingsOf(OrvaneServer& server)
{
    return *server.findChild<ServerSettings*>(QString(), Qt::FindDirectChildrenOnly);
}

const ServerSettings& settingsOf(const OrvaneServer& server)
{
    return *server.findChild<const ServerSettings*>(QString(), Qt::FindDirectChildrenOnly);
}

/// Null: none. One that has waited is not among Qt's pending connections: to take those makes a paused server accept.
QTcpSocket* nextClient(OrvaneServer& server)
{
    if (QTcpSocket* admitted = settingsOf(server).queue.takeAdmitted())
        return admitted;
    return server.hasPendingConnections() ? server.nextPendingConnection() : nullptr;
}

} // namespace

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

    if (const QByteArray key = contentOf(KeyResource); !key.isEmpty())
        privateKey = QSslKey(key, QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey);
    if (const QByteArray pem = contentOf(CertificateResource); !pem.isEmpty())
        certificate = QSslCertificate(pem, QSsl::Pem);

    auto* settings = new ServerSettings(this); // first of the children: it is looked for with each client
    new AcceptRetry(this); // it must hear of a client before an event loop of the host accepts the next one
    connect(this, &QTcpServer::newConnection, this, &OrvaneServer::handleNewConnection);
    connect(&settings->queue, &ClientQueue::placeIsFree, this, &OrvaneServer::handleNewConnection);
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
    socket->setSslConfiguration(sslConfiguration());
    socket->setSocketDescriptor(socketDescriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite);
    if (ClientQueue& queue = settingsOf(*this).queue; queue.isNeeded()) {
        queue.add(socket);
        return;
    }
    socket->startServerEncryption();
    addPendingConnection(socket);
}

void OrvaneServer::setSslConfiguration(const QSslConfiguration& configuration)
{
    settingsOf(*this).sslConfiguration = configuration;
}

QSslConfiguration OrvaneServer::sslConfiguration() const
{
    if (const auto& ofHost = settingsOf(*this).sslConfiguration)
        return *ofHost;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setProtocol(QSsl::SecureProtocols);
    configuration.setPrivateKey(privateKey);
    configuration.setLocalCertificate(certificate);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

QString OrvaneServer::sslErrorString() const
{
    const bool fromResources = !settingsOf(*this).sslConfiguration.has_value();
    if (fromResources && privateKey.isNull())
        return resourceTrouble(KeyResource, u"an RSA key in PEM"_s);
    if (fromResources && certificate.isNull())
        return resourceTrouble(CertificateResource, u"a certificate in PEM"_s);
    const QString trouble = tlsTrouble(sslConfiguration());
    return QString(trouble.constData(), trouble.size()); // no literal: the host may keep it longer than the library
}

void OrvaneServer::setLimits(const OrvaneLimits& limits)
{
    settingsOf(*this).limits = std::make_shared<OrvaneLimits>(limits);
}

OrvaneLimits OrvaneServer::limits() const
{
    return *settingsOf(*this).limits;
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
    while (QTcpSocket* socket = server ? nextClient(*this) : nullptr) {
        socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        socket->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        std::unique_ptr<ClientLimits> limits = settingsOf(*this).limitsOfClient();
        auto* connection = new OrvaneConnection(hostInterface, socket, userName, password, this);
        if (!server)
            return;
        {
            const std::lock_guard lock(connectionsMutex);
            connections.push_back(connection);
        }
        connection->takeUpSocket(std::move(limits));
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
