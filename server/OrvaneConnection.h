#pragma once

#include "ClientEvents.h"
#include "XMLSocket.h"

#include <QLatin1String>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpSocket>

#include <memory>
#include <optional>

class QSocketNotifier;
class XmlCommandReader;

namespace OrvaneInterface {

class Acceptor;
class ClientLimits;
class HostCalls;
class OrvaneInterface;
class OrvaneServerPrivate;

/**
 * One connected client: its socket, its login and its commands.
 *
 * Takes complete messages from its XMLSocket and carries them out one at a time, in the order of arrival, each with its
 * reply. The command handlers are defined in commands/, one file per group.
 *
 * In a host call, the host may run a nested event loop, in which the client can leave, and it may destroy the server.
 * The same holds for a log line, since the host may have a message handler. So:
 * 1. While a message is being dispatched, no other message of this client is started.
 * 2. While anything here that can run host code is on the stack (see InUse), neither this object nor its socket is
 *    deleted. The release is noted, and the deletion follows when all of that has returned. So command handlers need no
 *    check after a host call or a log line.
 * 3. After the release, nothing is sent, and the socket is not touched except to schedule its deletion.
 * 4. An error and the end of a connection are handled in the next round of the event loop, never inside the call of Qt
 *    that meets them, such as a flush. So all messages already read are carried out first, and Qt is not in the middle
 *    of something when the log lines run host code. They are handled inside a dispatch only if the host runs events
 *    there. If it does so in a host call, the remaining messages are discarded.
 *
 * Thread: that of the server.
 */
class OrvaneConnection : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OrvaneConnection)

public:
    /**
     * \param hostInterface not owned, may be null: every message is then ignored
     * \param socket a child of the server; from now on this object closes it and schedules its deletion
     * \param userName user name of the account that the host grants
     * \param password password of that account
     * \param parent the server
     *
     * Nothing is reported or read before takeUpSocket().
     */
    OrvaneConnection(
        OrvaneInterface* hostInterface, QTcpSocket* socket, QString userName, QString password, QObject* parent);
    ~OrvaneConnection() override;

    /// Reports the client, and handles what happened to the socket before its signals were connected. Call it once,
    /// after the server has registered the connection: messages that have already arrived are carried out.
    void takeUpSocket(OrvaneServerPrivate& server);

    /// Sends one message to the client; does nothing after the release.
    void sendMessage(const QString& message);

    /// Whether the client is still served; false after the release.
    bool isAttached() const { return socketAttached; }
    const OrvaneClient& client() const { return events.client(); }

    /// Sends \a notice, which XMLSocket::frame() made for all clients, if this client waits for the end of a refresh.
    void notifyRefreshFinished(const QByteArray& notice);

    /// Called by ~OrvaneServer(). Releases the socket; this object is deleted once none of its functions is on the
    /// stack.
    void leaveServer();

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    class HostCall;
    class InUse;
    using Outcome = OrvaneClientEvent::Outcome;
    /// Result of a command.
    struct Result {
        Outcome outcome;
        std::optional<int> split {}; ///< used by the host, if it reports one
    };
    using Handler = Result (OrvaneConnection::*)(XmlCommandReader& reader);

    void handleReadyRead();
    void tellEncrypted();
    void discardFurtherInput(QAbstractSocket::SocketError error);
    void handleSocketError(QAbstractSocket::SocketError error);
    void handleDisconnected();
    void release(QLatin1String reason = {}, bool isLimit = false);
    bool isAllowed(const QString& message);
    void endIfExceeded(QLatin1String limit);
    qint64 unsentBytes() const;
    qint64 sendableBytes() const;
    void endTurn();
    void beginTurn();
    void updateReading();
    void carryOutReads();
    void resume();
    void checkUnsent();
    void flush();
    void watchNetwork();
    bool isKeptFromReading(QSocketNotifier& notifier);
    void receiveRest();
    qint64 bytesOfTurn() const;
    void carryOutMessages();
    void forget();

    bool isConnected() const { return socket->state() == QAbstractSocket::ConnectedState; }
    bool isLoggedIn() const { return orvaneLoggedIn || thirdPartyLoggedIn; }
    void handleCommand(const QString& message);
    void refuse(const QString& commandName, QLatin1String reason);
    void carryOut(XmlCommandReader& reader, OrvaneClientEvent& event);
    void handleLoginClient(const XmlCommandReader& reader);
    static Handler handlerOf(const QString& commandName);
    Result rejectUnknown(XmlCommandReader& reader);
    Result handleUpdateRecorderContents(XmlCommandReader& reader);
    Result handleGetRecorderList(XmlCommandReader& reader);
    Result handleGetPresetsList(XmlCommandReader& reader);
    Result handleShowLive(XmlCommandReader& reader);
    Result handleShowTrack(XmlCommandReader& reader);
    Result handleSetPreset(XmlCommandReader& reader);
    Result handleSetSplitMode(XmlCommandReader& reader);
    Result handleSetDetailViews(XmlCommandReader& reader);
    Result handleShowLiveAtSubsplit(XmlCommandReader& reader);
    Result handleGetPertinentInfo(XmlCommandReader& reader);

    Result sendCommandAccepted(const QString& commandName);
    Result sendCommandRejected(const QString& commandName, const QString& reason);
    Result sendAcceptedWithSplit(XmlCommandReader& reader, int splitId);

    OrvaneInterface* hostInterface; ///< not owned, may be null
    QTcpSocket* socket; ///< child of the server; dangling once the release has scheduled its deletion
    std::unique_ptr<XMLSocket> xmlSocket; ///< null after the release
    bool socketAttached = true; ///< until the release
    bool orvaneLoggedIn = false; ///< with the system account; never cleared
    bool thirdPartyLoggedIn = false; ///< with the account that the host grants; never cleared
    bool recorderUpdatePending = false; ///< the client waits for the end of a refresh
    QString userName; ///< null after the release, like the password
    QString password;
    std::unique_ptr<ClientLimits> limits; ///< null until takeUpSocket(), and after the release
    QPointer<HostCalls> hostCalls; ///< of the server
    Acceptor* acceptor = nullptr; ///< of the server; dangling after the release
    bool encrypted = false; ///< the TLS handshake is done
    bool isEncryptionTold = false;
    bool hasEnded = false; ///< the client has left; its earlier messages are still to be carried out
    qint64 turnBytes = 0; ///< read since beginTurn()
    bool isTurnOver = false; ///< until beginTurn()
    bool isReading = true; ///< as set by updateReading(): finding the notifiers for each read would be expensive
    bool isHeld = false; ///< waits until one of the nested calls returns
    bool isSilent = false; ///< the client can send no more messages, but may still read
    bool hasTlsFailed = false; ///< more than the end of the client's TLS session
    bool isHeard = false; ///< the client has sent something since checkUnsent()
    bool isInCall = false; ///< a host call is running
    int uses = 0; ///< number of live InUse objects
    bool dispatching = false; ///< handleReadyRead() is on the stack
    ClientEvents events;
};

} // namespace OrvaneInterface
