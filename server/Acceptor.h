#pragma once

#include "ClientEvents.h"
#include "ClientLimits.h"

#include <QAbstractSocket>
#include <QBasicTimer>
#include <QList>
#include <QObject>
#include <QPointer>

class QSocketNotifier;
class QTcpServer;
class QTcpSocket;

namespace OrvaneInterface {

/// Admits clients under the limits that the host has set last.
class Admission {
public:
    void setLimits(const OrvaneLimits& limits) { current = std::make_shared<OrvaneLimits>(limits); }
    const OrvaneLimits& limits() const { return *current; }

    bool isFull() const { return current->maxClients > 0 && *clients >= current->maxClients; }
    /// Admits a client, and counts it for as long as the result lives.
    std::unique_ptr<ClientLimits> admit() const { return std::make_unique<ClientLimits>(current, clients); }

private:
    std::shared_ptr<const OrvaneLimits> current = std::make_shared<OrvaneLimits>(); ///< shared with admitted clients
    std::shared_ptr<int> clients = std::make_shared<int>(0); ///< number of admitted clients
};

/**
 * Accepts clients for the server.
 *
 *     listening --accept, one a turn--> [full?] --no--> takeClient(): TLS and a connection
 *      |     ^                             |                 ^
 *      |     | no client is left           | yes             | a slot is free
 *      v     |                             v                 |
 *     out of file descriptors           waiting (100 clients, 100 ms) --> turned away
 *     (tries every second)
 *
 * - Turns. Strangers, clients that have not logged in, share one turn per round of the event loop: one of them is
 *   accepted, with its TLS setup, or read once. A second one in the same round is held, and served first in the next.
 *   So strangers cost the others one such step per round, however many they are. Qt accepts in a loop until no client
 *   is left, which may never happen. It is therefore made to accept one client at a time.
 * - Pauses belong to the host: pauseAccepting() disables the notifier of the listening socket, and only the host
 *   enables it again. To hold a client, or while file descriptors are short, a notifier is unregistered instead.
 * - Accepting has failed if the listening socket stays ready although no client comes. Qt's error reports are not
 *   enough: its socket engine keeps the first error that it meets, and "no client is left" is one of them.
 * - A client that finds no slot waits for one: a served client may have left unnoticed. If a client reconnects while
 *   the host's thread is blocked, it is accepted in the same round in which its old connection ends.
 *
 * Thread: that of the server.
 */
class Acceptor : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Acceptor)

public:
    /// Bytes read from a stranger in one turn; all messages in them are carried out at once. They take a few
    /// milliseconds: a message can have only 4 bytes, a TLS key update 27, and the most expensive documents cost some
    /// thousand instructions per character.
    static constexpr qint64 BytesOfStranger = 4096;
    /// For a logged-in client. More, so that many commands need fewer turns.
    static constexpr qint64 BytesOfClient = 8192;

    /// \a server and \a admission must outlive this object.
    Acceptor(QTcpServer& server, const Admission& admission, std::shared_ptr<ClientObservation> observation,
        QObject* parent);

    /// Returns the next client that has a slot, connected but not encrypted; null if there is none. Takes at most one
    /// of the clients that Qt has accepted. The host may destroy the server in this function.
    QTcpSocket* takeClient();
    /// Adds \a client to the strangers, or removes it.
    void setStranger(QTcpSocket& client, bool isStranger);

Q_SIGNALS:
    /// A waiting client can be taken with takeClient(). The host may destroy the server in this signal.
    void placeIsFree();

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    struct Waiting {
        QTcpSocket* client; ///< child of the server
        int lastStep;
    };

    void findListening();
    void takeTurn();
    void beginRound();
    void accept();
    bool acceptOne();
    void handleAcceptError(QAbstractSocket::SocketError error);
    void turnAwayFirst();
    void stepWaiting();

    QTcpServer& server;
    const Admission& admission;
    const std::shared_ptr<ClientObservation> observation;
    QPointer<QSocketNotifier>
        listening; ///< of the listening socket, owned by Qt; null if not found yet, or if the server does not listen
    bool isTurnTaken = false;
    QList<QPointer<QSocketNotifier>> held; ///< ready, but unregistered from the event loop until their turn comes
    QBasicTimer retryTimer; ///< active while file descriptors are short, which has been logged
    QList<Waiting> waiting; ///< in order of arrival
    QBasicTimer waitingTimer; ///< active while a client waits
    int step = 0; ///< counts the timeouts of waitingTimer
};

} // namespace OrvaneInterface
