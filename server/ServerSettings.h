#pragma once

#include "ClientLimits.h"

#include <QList>
#include <QObject>
#include <QSslConfiguration>

#include <memory>
#include <optional>

class QTcpSocket;

namespace OrvaneInterface {

/**
 * What a host has set, and what there is to know for it. A child of the server, to which no member may be added.
 *
 * Thread: that of the server.
 */
class ServerSettings : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ServerSettings)

public:
    /// \a server is the parent.
    explicit ServerSettings(QObject* server)
        : QObject(server)
    {
    }

    /// Null until the host sets one: then key and certificate come from its resources.
    std::optional<QSslConfiguration> sslConfiguration;
    /// Shared with the clients that were accepted under them.
    std::shared_ptr<const OrvaneLimits> limits = std::make_shared<OrvaneLimits>();
    /// Clients that are not let in, but still to be told of in the log.
    QList<QTcpSocket*> refusedClients;

    bool isFull() const { return limits->maxClients > 0 && *clients >= limits->maxClients; }
    /// Disconnects them, each with its line in the log, inside which the server may be destroyed.
    void tellOfRefusedClients();
    /// For a client that is let in.
    std::unique_ptr<ClientLimits> limitsOfClient() const { return std::make_unique<ClientLimits>(limits, clients); }

private:
    std::shared_ptr<int> clients = std::make_shared<int>(0); ///< that are let in
};

} // namespace OrvaneInterface
