#pragma once

#include "Acceptor.h"
#include "ClientEvents.h"
#include "HostCalls.h"

#include <QObject>
#include <QSslConfiguration>
#include <QTcpServer>

#include <memory>
#include <optional>

namespace OrvaneInterface {

/// The private state of a server, which itself may get no more members. A child of the server.
class OrvaneServerPrivate : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OrvaneServerPrivate)

public:
    /// \a server is the parent. This is its first child, so that of() finds it fast.
    explicit OrvaneServerPrivate(QTcpServer& server)
        : QObject(&server)
        , acceptor(server, admission, observation, this)
    {
    }

    static OrvaneServerPrivate& of(const QTcpServer& server)
    {
        return *server.findChild<OrvaneServerPrivate*>(QString(), Qt::FindDirectChildrenOnly);
    }

    /// Null until the host sets one; until then, key and certificate come from the resources.
    std::optional<QSslConfiguration> configuration;
    /// Shared with clients that may outlive the server during a host call.
    const std::shared_ptr<ClientObservation> observation = std::make_shared<ClientObservation>();
    Admission admission;
    HostCalls hostCalls {this}; // a child, so that it moves with the server to another thread
    Acceptor acceptor;
};

} // namespace OrvaneInterface
