#pragma once

#include "Stranger.h"
#include "TlsClient.h"

#include <memory>
#include <sys/resource.h>
#include <vector>

constexpr qint64 MiB = 1048576;

inline constexpr auto logIn = [](Stranger& it) { return it.shakeHands() && it.send(loginMessage()); };

/// The strangers of one misuse. Who has come stays until all have done what they do.
struct Crowd : Target {
    int share(int whole) const { return std::max(1, whole / scale); }
    Stranger& come() { return *strangers.emplace_back(std::make_unique<Stranger>(*this)); }
    void come(int count)
    {
        while (count-- > 0)
            come();
    }

    int scale = 1; ///< with more than 1 they do a fraction of everything
    std::vector<std::unique_ptr<Stranger>> strangers {};
};

/// Something that strangers do to a server.
struct Misuse {
    const char* title;
    void (*act)(Crowd& crowd);
    int mostGrowthMiB = 64; ///< of the server's memory where it has the limits of a control room
    bool countsConnections = false; ///< what they cost is told for each of them, not for each MB
    const char* logRules = ""; ///< for the categories of Qt's log, with a semicolon between them
    rlim_t descriptors = 20'000; ///< that the server may have, where the system lets it
};

extern const std::vector<Misuse> Misuses;
