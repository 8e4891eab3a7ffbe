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

/// Who is let in, and under which limits: those that the host has set last.
class Admission {
public:
    void setLimits(const OrvaneLimits& limits) { current = std::make_shared<OrvaneLimits>(limits); }
    const OrvaneLimits& limits() const { return *current; }

    bool isFull() const { return current->maxClients > 0 && *clients >= current->maxClients; }
    /// Lets a client in, and counts it for as long as the result lives.
    std::unique_ptr<ClientLimits> admit() const { return std::make_unique<ClientLimits>(current, clients); }

private:
    std::shared_ptr<const OrvaneLimits> current = std::make_shared<OrvaneLimits>(); ///< shared with who is let in
    std::shared_ptr<int> clients = std::make_shared<int>(0); ///< that are let in
};

/**
 * The way in to the server.
 *
 *     listening --accept, one a turn--> [full?] --no--> takeClient(): TLS and a connection
 *      |     ^                             |                 ^
 *      |     | nobody is left              | yes             | a place is free
 *      v     |                             v                 |
 *     short of descriptors              waiting (100 clients, 100 ms) --> turned away
 *     (tries every second)
 *
 * - Turns. Everyone who has not logged in shares one turn in each round of the event loop: to be accepted, with its TLS
 *   set up, or to be read once. Whoever comes second in a round is held, and served first in the next one. So strangers
 *   cost the others one such piece of work a round, however many they are. To accept is Qt's loop that ends when nobody
 *   is left, which need not happen; it is therefore run for one client at a time.
 * - Pauses are the host's alone: pauseAccepting() disables the notifier of the listening socket, and only the host
 *   enables it again. Who is held, and a server that is short of descriptors, is taken out of the event loop instead.
 * - A failure to accept is told by the listening socket, which stays ready while nobody comes. What Qt reports is not
 *   enough: its socket engine keeps the first error that it meets, and "nobody is left" is one of them.
 * - A client that finds no place waits for one. One of those that are served may have left without the event loop
 * having seen it: while the host's thread stands still, a client that ends its connection and connects anew is accepted
 *   together with its own end.
 *
 * Thread: that of the server.
 */
class Acceptor : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Acceptor)

public:
    /// What is read for one client in one turn; all messages in it are carried out at once. A message may have 6 bytes,
    /// a change of the TLS keys 27, and the most expensive documents cost some thousand instructions a character: so it
    /// is a few milliseconds of any of them.
    static constexpr qint64 BytesOfStranger = 4096;
    /// More: whoever sends many commands needs fewer turns for them.
    static constexpr qint64 BytesOfClient = 8192;

    /// \a server and \a admission must outlive this object.
    Acceptor(QTcpServer& server, const Admission& admission, std::shared_ptr<const ClientObservation> observation,
        QObject* parent);

    /// The next client that has a place, connected and not encrypted; null: none. Takes at most one of those that Qt
    /// has accepted. The server may be destroyed in it.
    QTcpSocket* takeClient();
    /// Has \a client share the turn of all that have not logged in, or not any more.
    void setStranger(QTcpSocket& client, bool isStranger);

Q_SIGNALS:
    /// There is one for takeClient(). The server may be destroyed in it.
    void placeIsFree();

protected:
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
    const std::shared_ptr<const ClientObservation> observation;
    QPointer<QSocketNotifier>
        listening; ///< of the listening socket, in Qt's hands; null: not found yet, or the server does not listen
    bool isTurnTaken = false;
    QList<QPointer<QSocketNotifier>> held; ///< ready, and out of the event loop until their turn comes
    QBasicTimer retryTimer; ///< runs while the server is short of descriptors, which is logged
    QList<Waiting> waiting; ///< in order of arrival
    QBasicTimer waitingTimer; ///< runs while a client waits
    int step = 0; ///< of waitingTimer
};

} // namespace OrvaneInterface
