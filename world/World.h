#pragma once

#include "Shared.h"

#include <string>
#include <vector>

namespace world {

/// What became of a world. A breach has its promise first: "replies: ...", "crash: ...", "hang: ...".
struct Outcome {
    std::vector<std::string> breaches;
    std::string log;
};

/// Plays the acts in a process of their own.
Outcome playApart(const std::vector<std::string>& acts, Figures& figures);

} // namespace world
