#pragma once

#include "ServerProcess.h"
#include "Stranger.h"

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace soak {

/// The strangers of one misuse. Who has come stays until all have done what they do.
class Crowd {
public:
    /// With a \a scale of more than 1 they do a fraction of everything.
    Crowd(quint16 port, int scale);

    int share(int whole) const { return std::max(1, whole / scale); }
    Stranger& come();
    void sendAway() { strangers.clear(); }
    /// For some seconds: one comes, does \a begin, and \a more again and again; when one fails, it comes anew.
    void flood(
        const std::function<bool(Stranger& stranger)>& begin, const std::function<bool(Stranger& stranger)>& more);

    Tally tally;

private:
    bool isOver() const;

    quint16 port;
    int scale;
    QDeadlineTimer deadline;
    std::vector<std::unique_ptr<Stranger>> strangers;
};

/// Something that strangers do to a server.
struct Misuse {
    static constexpr qint64 MiB = 1048576;

    const char* title;
    void (*act)(Crowd& crowd);
    qint64 mostGrowth = 64 * MiB; ///< of the server's memory where it has the limits of a control room, in bytes
    bool countsConnections = false; ///< what they cost is told for each of them, not for each MB
    const char* logRules = ""; ///< for the categories of Qt's log, with a semicolon between them
    int descriptors = 0; ///< that the server may have; 0: as many as this process
};

std::span<const Misuse> misuses();

/// What another client has seen meanwhile, which sends one command after the other and waits for each reply, and what
/// the server's process shows.
struct WitnessReport {
    bool isRight = false; ///< every answer
    double medianMs = 0; ///< while the strangers did it
    double longestMs = 0; ///< until the server was through with it
    qint64 growth = 0; ///< of the server's memory at its peak, in bytes
    qint64 processorNs = 0; ///< of the server
    double seconds = 0; ///< in which the strangers did it
    Tally tally;
};

WitnessReport witness(const ServerProcess& server, const Misuse& misuse, int scale);

} // namespace soak
