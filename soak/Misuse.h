#pragma once

#include "Stranger.h"
#include "TlsClient.h"

#include <memory>
#include <sys/resource.h>
#include <vector>

constexpr qint64 MiB = 1048576;

inline constexpr auto logIn = [](Stranger& it) { return it.shakeHands() && it.send(loginMessage()); };

/// The strangers of one misuse. Each stays connected until the misuse is over or removes it.
struct Crowd : Target {
    int share(int whole) const { return std::max(1, whole / scale); }
    Stranger& come() { return *strangers.emplace_back(std::make_unique<Stranger>(*this)); }
    void come(int count)
    {
        while (count-- > 0)
            come();
    }

    int scale = 1; ///< above 1, they do only a fraction of everything
    std::vector<std::unique_ptr<Stranger>> strangers {};
};

/// One way in which strangers misuse a server.
struct Misuse {
    const char* title;
    void (*act)(Crowd& crowd);
    int mostGrowthMiB = 64; ///< of the server's memory, with the limits of a control room
    bool countsConnections = false; ///< the cost is reported per connection, not per MB
    const char* logRules = ""; ///< for Qt's logging categories, separated by semicolons
    rlim_t descriptors = 20'000; ///< that the server may have, if the system allows it
};

extern const std::vector<Misuse> Misuses;
