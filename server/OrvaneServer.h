#pragma once

#include "OrvaneClient.h"
#include "OrvaneExport.h"
#include "OrvaneLimits.h"

#include <QList>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslKey>
#include <QString>
#include <QTcpServer>

#include <mutex>
#include <vector>

namespace OrvaneInterface {

class OrvaneConnection;
class OrvaneInterface;

/**
 * The TLS server through which Orvane reaches the host: the one object that a host creates.
 *
 * Calling order: construct, startListeningForConnection(), any number of handleUpdateAllTreeDevicesFinished(), destroy.
 * All of it, and every call on the host's OrvaneInterface, happens on the thread that owns the server, which needs a
 * running Qt event loop.
 *
 * The host application carries the TLS key and certificate as Qt resources: ":/Halden/Resources/hxkey.pem" (an RSA
 * private key in PEM without pass phrase) and ":/Halden/Resources/hxcert.pem" (the certificate in PEM). They are read
 * once, by the constructor. Where one is missing the server listens all the same, and no client's TLS handshake can
 * succeed: ask sslErrorString(). Or the host sets a configuration of its own, with setSslConfiguration().
 *
 * The server owns its clients' sockets and connections. It may be destroyed at any time, also with clients attached and
 * from inside a call on the host's OrvaneInterface.
 */
class ORVANE_INTERFACE_EXPORT OrvaneServer : public QTcpServer {
    Q_OBJECT

public:
    /**
     * Reads the key and the certificate; does not listen yet.
     *
     * \param hostInterface the host's implementation. Not owned; must outlive the server. With a null pointer every
     *        message of every client is ignored.
     * \param port the TCP port to listen on, 0 for the default, 5679
     * \param userName user name of the account that the host grants, beside the fixed system account. With an empty
     *        name and an empty password a login without both is accepted.
     * \param password password of that account
     * \param parent the Qt parent, which deletes the server; may be null
     */
    OrvaneServer(OrvaneInterface* hostInterface, quint16 port, QString userName, QString password, QObject* parent);

    /// Stops listening, ends all connections and deletes their sockets.
    ~OrvaneServer() override;

    /**
     * Listens on all local addresses.
     *
     * Reports nothing: ask isListening() afterwards, and errorString() for the reason when it is false.
     */
    void startListeningForConnection();

    /**
     * Takes this configuration for the clients that connect from now on, instead of key and certificate from the
     * resources. Those that are connected keep theirs.
     *
     * It holds as it is, also in whether clients are asked for a certificate: begin with what sslConfiguration() gives.
     */
    void setSslConfiguration(const QSslConfiguration& configuration);

    /// What the next client gets. Until setSslConfiguration(): Qt's default, with key and certificate from the
    /// resources, and no certificate asked of clients.
    QSslConfiguration sslConfiguration() const;

    /**
     * Why no client can be served with the present configuration, in words for a person; empty when nothing is found.
     *
     * That is: no key, no certificate, one that cannot be read, a pass phrase, a key that is not that of the
     * certificate, or too weak, a certificate that is not valid yet, or any more, clients that must show a certificate
     * while no issuer is trusted, or something that the TLS library does not take. There is no handshake in it: whether
     * clients trust the certificate, whether the chain behind it is strong enough, and whether protocols and ciphers go
     * together shows with the first client. Takes a few milliseconds.
     */
    QString sslErrorString() const;

    /// The same of a configuration that is not set yet: ask first, and setSslConfiguration() when it is empty.
    static QString sslErrorString(const QSslConfiguration& configuration);

    /// Limits the clients that connect from now on; those that are connected keep the limits that they have.
    void setLimits(const OrvaneLimits& limits);

    /// At first there is no limit.
    OrvaneLimits limits() const;

    /// The clients that are connected, in the order in which they came. Those that wait for a place are not among them.
    QList<OrvaneClient> clients() const;

    /**
     * The client whose command is being carried out. Only inside an operation of OrvaneInterface there is one;
     * elsewhere isNull() is true. Where operations run inside one another, it is the client of the innermost. It may
     * have left.
     */
    OrvaneClient currentClient() const;

    /**
     * Tells of each event of each client from now on.
     *
     * The observer may do whatever an operation may do: run events, set another observer, destroy the server. As in an
     * operation, the server must not be moved to another thread. The destructor of the server takes the observer away
     * first, so nobody is told of the clients that it ends: whoever keeps a list of clients() clears it then. The list
     * changes with each event but Command, InvalidLogin and RefusedDocument; it has changed already when the audit
     * trail writes its line, and the observer is called after that, and before anything else of that client is told.
     *
     * \param observer called in the thread of the server. It replaces the one before; an empty one ends it.
     * \param context the observer is not called any more when this object has been destroyed; null: nothing ends it
     */
    void setClientObserver(OrvaneClientObserver observer, const QObject* context = nullptr);

public Q_SLOTS:
    /**
     * Tells every client that is waiting for it that the refresh of the recorder list has finished.
     *
     * Call it when a refresh that OrvaneInterface::updateRecorderContents() started has finished, from inside that
     * operation at the earliest. Without a waiting client it does nothing.
     */
    void handleUpdateAllTreeDevicesFinished();

protected:
    /// For Qt: starts TLS on the accepted socket \a socketDescriptor. A host does not call it.
    void incomingConnection(qintptr socketDescriptor) override;

private Q_SLOTS:
    void sslErrors(const QList<QSslError>& errors);

private:
    void handleNewConnection();
    void removeDisconnectedConnections();

    /// The port that a host gets with 0.
    static const unsigned short OrvaneDefaultPort;

    OrvaneInterface* hostInterface; ///< not owned, may be null
    std::vector<OrvaneConnection*> connections; ///< in order of acceptance; children of the server
    quint16 port;
    QSslKey privateKey; ///< null while there is none
    QSslCertificate certificate; ///< null while there is none
    QString userName;
    QString password;
    /// Guards connections; taken before the write mutex of any client. There is one thread; should a host tell of the
    /// end of a refresh from another one all the same, the registry stays whole.
    mutable std::mutex connectionsMutex;
    // Nothing may be added: a compiled host sets aside this many bytes. What else the server needs is a child of it.
};

} // namespace OrvaneInterface
