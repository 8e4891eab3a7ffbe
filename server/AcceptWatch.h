#pragma once

#include <QAbstractSocket>
#include <QObject>

class QTcpServer;

namespace OrvaneInterface {

/**
 * Deals with errors of accepting: logs each once, and lets the server accept again when a client leaves.
 *
 * QTcpServer stops accepting for good after an error such as a lack of descriptors. Beyond that, its socket engine
 * keeps the first error that it meets, and "nobody left to accept" is one of them. So
 * - a lack of descriptors that is the first error is reported again whenever nobody is left to accept, and stops the
 *   accepting each time;
 * - a lack of descriptors later on is never reported; the listening socket stays ready, and the event loop spins. This
 *   object sees these activations, finds that no descriptor can be had, and reports the error in Qt's place.
 *
 * A host that has itself paused the server finds it paused still. Thread: that of the server.
 */
class AcceptWatch : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AcceptWatch)

public:
    /// \a server is the parent.
    explicit AcceptWatch(QTcpServer* server);

    /// The server has begun to listen.
    void handleListening();
    /// A client has left, and its descriptor is free.
    void handleClientGone();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void handleNewConnection();
    void handleAcceptError(QAbstractSocket::SocketError error);

    QTcpServer* server; ///< the parent
    int fruitlessActivations = 0; ///< of the listening socket, since the last client came
    bool errorSeen = false;
    bool acceptedSinceError = false;
    bool stoppedByError = false; ///< the server does not accept, and it was not the host's wish
};

} // namespace OrvaneInterface
