#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace world {

constexpr int SlotCount = 2;

/// What the threads of a world share.
struct Shared {
    std::array<std::atomic<uint16_t>, SlotCount> ports {};
    std::atomic<bool> clientsAreDone {false};
    std::atomic<int64_t> hostTimeUs {0}; ///< that the host has spent in calls and lines so far
    std::atomic<int64_t> hostSinceUs {0}; ///< since when it is in one; 0: it is in none
    std::atomic<int64_t> turns {0}; ///< of the event loop
};

/// What the parent process sees of the worlds.
struct Figures {
    std::atomic<int64_t> clients {0};
    std::atomic<int64_t> commands {0};
    std::atomic<int64_t> longestWaitUs {0};
    std::atomic<int64_t> longestWaitTurns {0};
};

int64_t nowUs();

/// A client of the first server that sends one command after the other and waits for each reply, until the others are
/// done. What it waits is without the time that the host itself has taken. For a thread of its own.
void bearWitness(Shared& shared, Figures& figures);

/// Connects to the server of \a slot and resets the connection at once, again and again. For a thread of its own.
void storm(const Shared& shared, int slot, int64_t ms);

} // namespace world
