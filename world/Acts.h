#pragma once

#include <string>
#include <vector>

namespace world {

/// What may happen in worlds. Each world gets a random selection of it.
struct Choice {
    std::vector<std::string> only; ///< kinds; empty: all
    std::string limits; ///< at the start of each world: "none", "tiny" or "room"; empty: any
};

std::vector<std::string> kinds();

/// The acts of a world, one line each. Peer, RandomHost and World explain them.
std::vector<std::string> makeActs(unsigned seed, const Choice& choice);

} // namespace world
