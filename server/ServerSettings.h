#pragma once

#include "ClientLimits.h"
#include "ClientQueue.h"

#include <QObject>
#include <QSslConfiguration>

#include <memory>
#include <optional>

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
    ClientQueue queue {*this};

    bool isFull() const { return limits->maxClients > 0 && *clients >= limits->maxClients; }
    /// For a client that is let in.
    std::unique_ptr<ClientLimits> limitsOfClient() const { return std::make_unique<ClientLimits>(limits, clients); }

private:
    std::shared_ptr<int> clients = std::make_shared<int>(0); ///< that are let in
};

} // namespace OrvaneInterface
