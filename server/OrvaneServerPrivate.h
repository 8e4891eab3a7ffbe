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

/// What a server needs beside its members, of which there may be no more; a child of the server.
class OrvaneServerPrivate : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OrvaneServerPrivate)

public:
    /// \a server is the parent; it has no other child yet, so that looking for this one is fast.
    explicit OrvaneServerPrivate(QTcpServer& server)
        : QObject(&server)
        , acceptor(server, admission, observation, this)
    {
    }

    static OrvaneServerPrivate& of(const QTcpServer& server)
    {
        return *server.findChild<OrvaneServerPrivate*>(QString(), Qt::FindDirectChildrenOnly);
    }

    /// Null until the host sets one: then key and certificate come from its resources.
    std::optional<QSslConfiguration> configuration;
    /// Shared with who may outlive the server inside a call on the host.
    const std::shared_ptr<ClientObservation> observation = std::make_shared<ClientObservation>();
    Admission admission;
    HostCalls hostCalls {this}; // as its child it goes with the server to another thread
    Acceptor acceptor;
};

} // namespace OrvaneInterface
