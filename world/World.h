#pragma once

#include "Shared.h"

#include <string>
#include <vector>

namespace world {

/// The result of a world. A breach begins with its promise: "replies: ...", "crash: ...", "hang: ...".
struct Outcome {
    std::vector<std::string> breaches;
    std::string log;
};

/// Plays the acts in a separate process.
Outcome playApart(const std::vector<std::string>& acts, Figures& figures);

} // namespace world
