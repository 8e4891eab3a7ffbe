#pragma once

#include "Clients.h"
#include "ServerProcess.h"

#include <array>

namespace soak {

/// Something that clients do to a server.
struct Misuse {
    const char* title;
    int clients;
    bool withHandshake;
    int rounds; ///< a tenth of a second each
    void (*act)(TlsClient& client, int round);
    qint64 mostGrowth; ///< of the server's memory where it has the limits of a control room, in bytes
};

extern const std::array<Misuse, 4> Misuses;

/// What another client has seen meanwhile, which sends one command after the other and waits for each reply.
struct WitnessReport {
    int wrongAnswers = 0;
    double medianMs = 0;
    double slowestMs = 0;
    qint64 growth = 0; ///< of the server's memory, in bytes, with all the others there
};

/// Has the clients misuse the server, a fraction of them where \a scale is more than 1.
WitnessReport witness(const ServerProcess& server, const Misuse& misuse, int scale);

} // namespace soak
