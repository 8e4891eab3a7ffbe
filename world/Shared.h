#pragma once

#include <atomic>
#include <cstdint>

namespace world {

/// What the parent process learns from the worlds.
struct Figures {
    std::atomic<int64_t> clients {0};
    std::atomic<int64_t> longestWaitUs {0};
};

/// What the threads of a world share.
struct Shared {
    Figures& figures;
    std::atomic<uint16_t> port {0};
    std::atomic<int> rounds {0}; ///< of the host's event loop, at most one per 20 ms
    int turns = 0; ///< of the clients' thread, each with such a round
    int progress = 0; ///< the turn in which a client last made progress
    std::atomic<bool> clientsAreDone {false}; ///< all but the witness
};

} // namespace world
