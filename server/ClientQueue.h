#pragma once

#include <QBasicTimer>
#include <QList>
#include <QObject>
#include <QStringList>

class QSslSocket;

namespace OrvaneInterface {

class ServerSettings;

/**
 * Clients that came when as many were there as may be at once.
 *
 * One of those may have left already, without the event loop having seen it: while the host's thread stands still, a
 * client that ends its connection and connects anew is accepted together with its own end. So nobody is refused at once
 * but those for whom no place can become free: further ones than there are places.
 *
 * Thread: that of the server.
 */
class ClientQueue : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ClientQueue)

public:
    /// \a settings is the parent.
    explicit ClientQueue(ServerSettings& settings);

    /// Whether a client that has come now has to wait for a place.
    bool isNeeded() const;
    /// Lets \a client, which is connected and not encrypted, wait or refuses and deletes it. Its line in the log
    /// follows later: inside incomingConnection() Qt would not stand it if that destroyed the server.
    void add(QSslSocket* client);

Q_SIGNALS:
    /// Whoever handles it lets \a client in. The server may be destroyed in it.
    void placeIsFree(QSslSocket* client);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    struct Waiting {
        QSslSocket* client; ///< child of the server
        int stepsLeft;
    };

    void refuse(QSslSocket* client);
    void tellOfRefused();

    const ServerSettings& settings;
    QBasicTimer timer; ///< runs while somebody waits
    QList<Waiting> waiting; ///< in order of arrival
    QStringList refused; ///< where they came from; still to be told of in the log
};

} // namespace OrvaneInterface
