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
 * The TLS server through which Orvane controls the host; the one object that a host creates.
 *
 * Order of calls: construct the server, call startListeningForConnection(), call handleUpdateAllTreeDevicesFinished()
 * any number of times, destroy the server. All this, and every call to the host's OrvaneInterface, happens on the
 * thread that owns the server. That thread needs a running Qt event loop.
 *
 * By default, TLS key and certificate are Qt resources of the host, which the constructor reads once; docs/hosting.md
 * lists them. If one is missing, the server still listens, but no client completes the TLS handshake: check
 * sslErrorString(). To use another configuration, call setSslConfiguration().
 *
 * The server owns the sockets and connections of its clients. It may be destroyed at any time, even while clients are
 * connected and inside a call to the host's OrvaneInterface.
 */
class ORVANE_INTERFACE_EXPORT OrvaneServer : public QTcpServer {
    Q_OBJECT

public:
    /**
     * Constructs the server and reads key and certificate; does not listen yet.
     *
     * \param hostInterface the host's implementation. Not owned; must outlive the server. If null, all messages of
     *        clients are ignored.
     * \param port the TCP port to listen on; 0 for the default, 5679
     * \param userName user name of the account that the host grants, in addition to the fixed system account
     * \param password password of that account. If it and the user name are both empty, anybody can log in.
     * \param parent the Qt parent, which deletes the server; may be null
     */
    OrvaneServer(OrvaneInterface* hostInterface, quint16 port, QString userName, QString password, QObject* parent);

    /// Stops listening, disconnects all clients and deletes their sockets.
    ~OrvaneServer() override;

    /**
     * Listens on all local addresses.
     *
     * Reports no error: call isListening() afterwards. If it returns false, errorString() returns the reason.
     */
    void startListeningForConnection();

    /**
     * Sets the TLS configuration of clients that connect from now on. It replaces key and certificate from the
     * resources. Connected clients keep theirs.
     *
     * It is used unchanged. A new QSslConfiguration asks clients for a certificate, so start from sslConfiguration().
     */
    void setSslConfiguration(const QSslConfiguration& configuration);

    /// Returns the TLS configuration of the next client. Until setSslConfiguration(), this is Qt's default with key and
    /// certificate from the resources; clients are not asked for a certificate.
    QSslConfiguration sslConfiguration() const;

    /**
     * Returns a human-readable reason why the current configuration serves no client, or only clients that ignore the
     * dates of the certificate; empty if none was found.
     *
     * It performs no handshake, so it cannot know whether a client trusts the certificate. docs/hosting.md lists what
     * it detects, and what else shows only with the first client. Takes a few milliseconds.
     */
    QString sslErrorString() const;

    /// Checks \a configuration in the same way before it is set. If the result is empty, call setSslConfiguration().
    static QString sslErrorString(const QSslConfiguration& configuration);

    /// Sets the limits of clients that connect from now on. Connected clients keep theirs.
    void setLimits(const OrvaneLimits& limits);

    /// Returns the limits of the next client. By default, there are none.
    OrvaneLimits limits() const;

    /// Returns the connected clients, in the order in which they came. Clients that wait for a slot are not included.
    QList<OrvaneClient> clients() const;

    /**
     * Returns the client whose command is being carried out; null outside the operations of OrvaneInterface. If
     * operations are nested, it is the client of the innermost one. It may already have left.
     */
    OrvaneClient currentClient() const;

    /**
     * Sets the function that is called with each event of each client from now on.
     *
     * The observer may do whatever an operation may do: run a nested event loop, set another observer, destroy the
     * server. As in an operation, the server must not be moved to another thread. The server's destructor removes the
     * observer first, so the clients that it disconnects are not reported: if you keep a list of clients(), clear it
     * then.
     *
     * Connected, Encrypted, LoggedIn, ExceededLimit and Disconnected can change clients(). For each event, in this
     * order: clients() changes, the audit trail writes its line, the observer is called. Then comes the next event.
     *
     * \param observer called on the server's thread. It replaces the previous one; an empty function removes it.
     * \param context the observer is no longer called once this object is destroyed. If null, nothing ends it.
     */
    void setClientObserver(OrvaneClientObserver observer, const QObject* context = nullptr);

public Q_SLOTS:
    /**
     * Notifies every client that is waiting for the end of a refresh of the recorder list.
     *
     * Call it when a refresh started by OrvaneInterface::updateRecorderContents() has finished, at the earliest inside
     * that operation. Does nothing if no client is waiting.
     */
    void handleUpdateAllTreeDevicesFinished();

protected:
    /// Called by Qt, not by hosts. Makes the accepted socket \a socketDescriptor a pending TLS connection.
    void incomingConnection(qintptr socketDescriptor) override;

private Q_SLOTS:
    void sslErrors(const QList<QSslError>& errors);

private:
    void handleNewConnection();
    void removeDisconnectedConnections();

    /// The port used if the host passes 0.
    static const unsigned short OrvaneDefaultPort;

    OrvaneInterface* hostInterface; ///< not owned, may be null
    std::vector<OrvaneConnection*> connections; ///< in order of acceptance; children of the server
    quint16 port;
    QSslKey privateKey; ///< null if there is none
    QSslCertificate certificate; ///< null if there is none
    QString userName;
    QString password;
    /// Guards connections; locked before the write mutex of any client. There is only one thread, but the registry
    /// stays intact even if a host reports the end of a refresh from another one.
    mutable std::mutex connectionsMutex;
    // Add no members: compiled hosts allocate exactly this many bytes. The rest belongs in OrvaneServerPrivate, a
    // child.
};

} // namespace OrvaneInterface
