#pragma once

#include <algorithm>

namespace soak {

/// What to run, and how much of it.
struct Choice {
    /// Of a run with few connections strangers do but a fraction, too.
    int scale() const { return std::max(1, 10'000 / connections); }

    int cycles = 1; ///< of coming and going
    int connections = 1; ///< that come and go without a word
    int only = 0; ///< the number of a misuse, from 1 on; 0: everything
    bool checksWaits = true; ///< on a machine that has two processors to spare
};

/// Runs the stages one after the other, each with a server process of its own, and prints what they find. \return
/// whether all checks held
bool runStages(const Choice& choice);

} // namespace soak
