#pragma once

#include <QString>

#include <vector>

class ServerProcess;

namespace soak {

/// Something that clients do to a server, once without limits and once with those of a control room.
struct Misuse {
    QString title;
    qint64 (*run)(const ServerProcess& server, int scale); ///< gives the server's memory with all of it there
    qint64 mostGrowth; ///< of the server's memory with limits, in bytes
};

/// At full scale, 1; each can be run with a fraction of its clients.
const std::vector<Misuse>& misuses();

/// Every answer that another client gets meanwhile, and how long it has waited for the slowest and for the one in the
/// middle.
struct WitnessReport {
    int wrongAnswers = 0;
    double medianMs = 0;
    double slowestMs = 0;
    qint64 growth = 0; ///< of the server's memory meanwhile, in bytes
};

/// Sends commands on a thread of its own while \a misuse is run.
WitnessReport witness(const ServerProcess& server, const Misuse& misuse, int scale);

} // namespace soak
