#pragma once

#include <QAbstractSocket>
#include <QBasicTimer>
#include <QObject>
#include <QPointer>

class QSocketNotifier;
class QTcpServer;

namespace OrvaneInterface {

/**
 * Lets a server that could not accept a client try again, every second.
 *
 * It is there for two things about Qt:
 * - QTcpServer pauses itself for good when accepting fails, as it does when the process has no descriptor left.
 * - Its socket engine can keep the first error that it meets, and "nobody left to accept" is one of them. A failure
 *   after that is not reported at all: the listening socket stays ready, and the event loop spins. Or, if a failure
 *   came first, it is reported again whenever nobody is left to accept.
 *
 * So what Qt reports is not relied upon: accepting fails when the listening socket is ready, again and again, and
 * nobody comes. This object then takes the socket out of the event loop for a second at a time, and the timer runs
 * until nobody waits in vain any more. Each such shortage is logged once.
 *
 * It does not use the server's pause, which thus shows what the host wants: one that has paused the server, even during
 * a shortage, finds it paused.
 *
 * Thread: that of the server.
 */
class AcceptRetry : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AcceptRetry)

public:
    /// \a server is the parent.
    explicit AcceptRetry(QTcpServer* server);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void handleNewConnection();
    void handleAcceptError(QAbstractSocket::SocketError error);
    void watchListeningSocket();
    void report(QAbstractSocket::SocketError error);

    QTcpServer* server; ///< the parent
    /// Of the listening socket, in Qt's hands; null while the server does not listen.
    QPointer<QSocketNotifier> notifier;
    int activations = 0; ///< of the notifier, since the last client came
    QBasicTimer timer;
};

} // namespace OrvaneInterface
