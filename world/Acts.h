#pragma once

#include <string>
#include <vector>

namespace world {

/// What may happen in worlds, by kind; a choice of them for each world.
struct Choice {
    std::vector<std::string> only; ///< kinds; empty: all
    std::string limits; ///< "none", "tiny" or "room", with which each world begins; empty: any
};

std::vector<std::string> kinds();

/// The acts of a world, one line each; see Peer, RandomHost and World for what they say.
std::vector<std::string> makeActs(unsigned seed, const Choice& choice);

} // namespace world
