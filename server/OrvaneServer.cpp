#include "OrvaneServer.h"

#include "ClientEvents.h"
#include "DebugLog.h"
#include "OrvaneConnection.h"
#include "OrvaneServerPrivate.h"
#include "Protocol.h"
#include "Replies.h"

#include <QCoreApplication>
#include <QFile>
#include <QHostAddress>
#include <QNetworkProxy>
#include <QPointer>
#include <QSslSocket>

#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

const QString KeyResource = u":/Halden/Resources/hxkey.pem"_s;
const QString CertificateResource = u":/Halden/Resources/hxcert.pem"_s;

/// Empty if the resource cannot be opened.
QByteArray contentOf(const QString& resource)
{
    QFile file(resource);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Why a resource yielded no key or certificate.
QString resourceError(const QString& resource, const QString& expected)
{
    const QByteArray content = contentOf(resource);
    if (content.isEmpty())
        return QFile::exists(resource) ? resource + u" is empty"_s : u"There is no resource "_s + resource;
    if (content.contains("ENCRYPTED"))
        return resource + u" has a pass phrase"_s;
    return resource + u" is not "_s + expected;
}

/// Sets no whole configuration: that would be Qt's default one, which the host may have changed for its own purposes.
/// It may then contain what a server socket does not start with, such as application protocols.
void setMaterial(QSslSocket& socket, const QSslKey& key, const QSslCertificate& certificate)
{
    socket.setProtocol(QSsl::SecureProtocols);
    socket.setPrivateKey(key);
    socket.setLocalCertificate(certificate);
    socket.setPeerVerifyMode(QSslSocket::VerifyNone);
}

} // namespace

const unsigned short OrvaneServer::OrvaneDefaultPort = DefaultPort;

OrvaneServer::OrvaneServer(
    OrvaneInterface* hostInterface, quint16 port, QString userName, QString password, QObject* parent)
    : QTcpServer(parent)
    , hostInterface(hostInterface)
    , port(port == 0 ? OrvaneDefaultPort : port)
    , privateKey(contentOf(KeyResource), QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey)
    , certificate(contentOf(CertificateResource), QSsl::Pem)
    , userName(std::move(userName))
    , password(std::move(password))
{
    qRegisterMetaType<QList<QSslError>>();
    const auto* d = new OrvaneServerPrivate(*this);
    connect(this, &QTcpServer::newConnection, this, &OrvaneServer::handleNewConnection);
    connect(&d->acceptor, &Acceptor::placeIsFree, this, &OrvaneServer::handleNewConnection);
    connect(this, &QTcpServer::acceptError, this,
        [](QAbstractSocket::SocketError error) { qCDebug(defaultLog) << "OrvaneConnection server error:" << error; });
}

OrvaneServer::~OrvaneServer()
{
    // In what follows, an observer that is destroyed and log lines about released clients may run events. Meanwhile the
    // host, whose pointer to the server may already be null, gets no call, event or new client. And neither an earlier
    // deleteLater() nor the end of the parent may destroy the server a second time.
    auto& d = OrvaneServerPrivate::of(*this);
    d.hostCalls.stop();
    QCoreApplication::removePostedEvents(this, QEvent::DeferredDelete);
    setParent(nullptr);
    d.observation->isOver = true;
    d.observation->observer.reset();
    close();
    disconnect(&d.acceptor, nullptr, this, nullptr);
    disconnect(this, &QTcpServer::newConnection, this, nullptr);
    // Not the registry: a connection dropped from it may still be inside a host call.
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
    // Queued: in the middle of a handshake, Qt could not cope with a nested event loop of the message handler.
    connect(socket, qOverload<const QList<QSslError>&>(&QSslSocket::sslErrors), this, &OrvaneServer::sslErrors,
        Qt::QueuedConnection);
    if (const auto& ofHost = OrvaneServerPrivate::of(*this).configuration)
        socket->setSslConfiguration(*ofHost);
    else
        setMaterial(*socket, privateKey, certificate);
    socket->setSocketDescriptor(socketDescriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite);
    ClientEvents::setClient(*socket);
    OrvaneServerPrivate::of(*this).acceptor.setStranger(*socket, true);
    addPendingConnection(socket); // encryption starts once it has a slot
}

void OrvaneServer::setSslConfiguration(const QSslConfiguration& configuration)
{
    OrvaneServerPrivate::of(*this).configuration = configuration;
}

QSslConfiguration OrvaneServer::sslConfiguration() const
{
    if (const auto& ofHost = OrvaneServerPrivate::of(*this).configuration)
        return *ofHost;
    QSslSocket socket;
    setMaterial(socket, privateKey, certificate);
    return socket.sslConfiguration();
}

QString OrvaneServer::sslErrorString() const
{
    const bool fromResources = !OrvaneServerPrivate::of(*this).configuration.has_value();
    if (fromResources && privateKey.isNull())
        return resourceError(KeyResource, u"an RSA key in PEM"_s);
    if (fromResources && certificate.isNull())
        return resourceError(CertificateResource, u"a certificate in PEM"_s);
    return sslErrorString(sslConfiguration());
}

void OrvaneServer::setLimits(const OrvaneLimits& limits)
{
    OrvaneServerPrivate::of(*this).admission.setLimits(limits);
}

OrvaneLimits OrvaneServer::limits() const
{
    return OrvaneServerPrivate::of(*this).admission.limits();
}

QList<OrvaneClient> OrvaneServer::clients() const
{
    const std::lock_guard lock(connectionsMutex);
    QList<OrvaneClient> clients;
    for (const OrvaneConnection* connection : connections) {
        if (connection->isAttached())
            clients.append(connection->client());
    }
    return clients;
}

OrvaneClient OrvaneServer::currentClient() const
{
    return OrvaneServerPrivate::of(*this).hostCalls.currentClient();
}

void OrvaneServer::setClientObserver(OrvaneClientObserver observer, const QObject* context)
{
    if (observer && context != nullptr) {
        observer = [guarded = std::move(observer), context = QPointer(context)](const OrvaneClientEvent& event) {
            if (context)
                guarded(event);
        };
    }
    ClientObservation& observation = *OrvaneServerPrivate::of(*this).observation;
    if (!observation.isOver)
        observation.observer = observer ? std::make_shared<OrvaneClientObserver>(std::move(observer)) : nullptr;
}

void OrvaneServer::handleNewConnection()
{
    {
        const std::lock_guard lock(connectionsMutex);
        removeDisconnectedConnections();
    }
    // Reporting a refusal or a new connection may run host code: the next client may come, the refresh may end, and the
    // server may be destroyed. So the lock is not held meanwhile.
    const QPointer<OrvaneServer> server(this);
    auto& d = OrvaneServerPrivate::of(*this);
    do {
        QTcpSocket* socket = d.acceptor.takeClient();
        if (!socket)
            continue;
        socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        socket->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        if (auto* sslSocket = qobject_cast<QSslSocket*>(socket))
            sslSocket->startServerEncryption();
        auto* connection = new OrvaneConnection(hostInterface, socket, userName, password, this);
        {
            const std::lock_guard lock(connectionsMutex);
            connections.push_back(connection);
        }
        connection->takeUpSocket(d);
    } while (!server.isNull() && hasPendingConnections());
}

/// The caller holds connectionsMutex. Dropped connections remain children of the server.
void OrvaneServer::removeDisconnectedConnections()
{
    std::erase_if(connections, [](const OrvaneConnection* connection) { return !connection->isAttached(); });
}

void OrvaneServer::handleUpdateAllTreeDevicesFinished()
{
    // No host code can run under the lock: see XMLSocket.
    const std::lock_guard lock(connectionsMutex);
    const QByteArray notice = XMLSocket::frame(refreshFinishedNotice());
    // The registry may still contain disconnected clients. Nothing is sent to them.
    for (OrvaneConnection* connection : connections)
        connection->notifyRefreshFinished(notice);
}

void OrvaneServer::sslErrors(const QList<QSslError>& errors)
{
    wakeNestedEventLoop();
    for (const QSslError& error : errors)
        qCDebug(defaultLog) << error.errorString();
}

} // namespace OrvaneInterface

#include "moc_HostCalls.cpp"
#include "moc_OrvaneServer.cpp"
#include "moc_OrvaneServerPrivate.cpp"
