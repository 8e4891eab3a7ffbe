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

class XmlCommandReader;

namespace OrvaneInterface {

class Acceptor;
class ClientLimits;
class HostCalls;
class OrvaneInterface;
class OrvaneServerPrivate;

/**
 * One connected client: its socket, its login, and the commands that it sends.
 *
 * Takes complete messages from its XMLSocket and carries them out one at a time, each with its reply, in the order of
 * arrival. The command operations are defined in commands/, one file for a group.
 *
 * During a host call anything may happen: the host may run an event loop, in which the client can go, and it may
 * destroy the server. The same holds for a log line, for which the host may have a message handler. So:
 * 1. While a message is being dispatched no other message of this client is begun.
 * 2. While anything here is on the stack that can run code of the host (see InUse), neither this object nor its socket
 *    is deleted; the release is noted, and the deletion follows when the last of it is over. Command operations need no
 *    check of their own after a host call or a log line.
 * 3. After the release nothing is sent and the socket is not touched, but for scheduling its deletion.
 * 4. An error and the end of the client are dealt with when the event loop comes round, never inside the call of Qt in
 *    which they are met, such as a flush: all messages that have been read are carried out before, and Qt is not in the
 *    middle of something when their lines run code of the host. They come inside a dispatch only where the host runs
 *    events in it. If that was in a call, the messages behind it are discarded.
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
     * Nothing is told or read before takeUpSocket().
     */
    OrvaneConnection(
        OrvaneInterface* hostInterface, QTcpSocket* socket, QString userName, QString password, QObject* parent);
    ~OrvaneConnection() override;

    /// Tells of the client, and deals with what the socket went through before this object listened to it. To be called
    /// once, when the server knows the connection: messages that have come already are carried out.
    void takeUpSocket(OrvaneServerPrivate& server);

    /// Sends one message to the client; does nothing when the socket has been released.
    void sendMessage(const QString& message);

    /// Whether the client is there; false after the release.
    bool isAttached() const { return socketAttached; }
    const OrvaneClient& client() const { return events.client(); }

    /// Sends \a notice, as XMLSocket::frame() has made it for all clients, if this one waits for the end of a refresh.
    void notifyRefreshFinished(const QByteArray& notice);

    /// The release, and the last word of the server to each of its connections, from its destructor: this object is
    /// deleted as soon as nothing of it is on the stack.
    void leaveServer();

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    class HostCall;
    class InUse;
    using Outcome = OrvaneClientEvent::Outcome;
    /// What has come of a command.
    struct Result {
        Outcome outcome;
        std::optional<int> split {}; ///< that the host has used, where it says so
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
    void endTurn();
    void beginTurn();
    void updateReading();
    void carryOutReads();
    void resume();
    void checkUnsent();
    QTcpSocket& network() const;
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
    QString userName; ///< null after the release, as the password
    QString password;
    std::unique_ptr<ClientLimits> limits; ///< null until takeUpSocket(), and after the release
    QPointer<HostCalls> hostCalls; ///< of the server
    Acceptor* acceptor = nullptr; ///< of the server; dangling after the release
    bool encrypted = false; ///< the TLS handshake is done
    bool isEncryptionTold = false;
    bool hasEnded = false; ///< the client has gone; what it said before is still to be carried out
    qint64 turnBytes = 0; ///< read since beginTurn()
    bool isTurnOver = false; ///< until beginTurn()
    bool isReading = true; ///< as updateReading() has left it: to find the notifiers at each read would be expensive
    bool isHeld = false; ///< waits until one of the calls inside one another returns
    bool isSilent = false; ///< can say nothing more, but may read on
    bool isHeard = false; ///< has said something since checkUnsent()
    bool isInCall = false; ///< of the host
    int uses = 0; ///< the InUse that live
    bool dispatching = false; ///< handleReadyRead() is on the stack
    ClientEvents events;
};

} // namespace OrvaneInterface
