#pragma once

#include <QBasicTimer>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class QSslSocket;

namespace OrvaneInterface {

class ServerSettings;

/**
 * Clients that came when as many were there as may be at once.
 *
 * One of those may have left already, without the event loop having seen it: while the host's thread stands still, a
 * client that ends its connection and connects anew is accepted together with its own end. So nobody is refused before
 * the event loop has had time to see who has left, of those that are served and of those that wait.
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
    /// Lets \a client wait, which is connected and not encrypted, and refuses who has waited longest where too many
    /// wait. The line in the log follows later: inside incomingConnection() Qt would not stand it if that destroyed the
    /// server.
    void add(QSslSocket* client);
    /// One that has a place now, with its encryption begun; null: none.
    QSslSocket* takeAdmitted() { return admitted.isEmpty() ? nullptr : admitted.takeFirst(); }

Q_SIGNALS:
    /// There is somebody to take. The server may be destroyed in it.
    void placeIsFree();

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    struct Waiting {
        QSslSocket* client; ///< child of the server
        QString peer; ///< which the socket forgets when the client has left
        int stepsLeft;
    };

    void admit();
    void refuse(const Waiting& entry);
    void tellOfRefused();

    const ServerSettings& settings;
    QBasicTimer timer; ///< runs while somebody waits
    QList<Waiting> waiting; ///< in order of arrival
    QList<QSslSocket*> admitted;
    QStringList refused; ///< where they came from; still to be told of in the log
};

} // namespace OrvaneInterface
