#pragma once

#include "Witness.h"

#include <string>
#include <vector>

namespace world {

/// What became of a world. A breach has its promise first: "replies: ...", "crash: ...", "hang: ...".
struct Outcome {
    std::vector<std::string> breaches;
    std::string log;
};

/// Plays the acts in a process of their own. \a hangSeconds without a line in its log are a hang.
Outcome playApart(const std::vector<std::string>& acts, Figures& figures, int hangSeconds = 60);

/// "replies" of "replies: ...".
std::string promiseOf(const std::string& breach);

} // namespace world
