#pragma once

#include "HostCalls.h"
#include "OrvaneConnection.h"

namespace OrvaneInterface {

/// One call to the host: HostCall(*this)->showLive(...). During its lifetime, its client is the server's current one.
class OrvaneConnection::HostCall {
    Q_DISABLE_COPY_MOVE(HostCall)

public:
    explicit HostCall(OrvaneConnection& connection)
        : connection(connection)
        , outer(connection.hostCalls->setCurrentClient(&connection.events.client()))
    {
        connection.isInCall = true;
    }
    ~HostCall()
    {
        connection.isInCall = false;
        if (connection.hostCalls) // the host may have destroyed the server
            connection.hostCalls->setCurrentClient(outer);
    }
    OrvaneInterface* operator->() const { return connection.hostInterface; }

private:
    OrvaneConnection& connection;
    const OrvaneClient* outer;
};

} // namespace OrvaneInterface
