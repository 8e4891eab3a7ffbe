#pragma once

namespace soak {

/// Runs the stages one after the other, each with a server process of its own, and prints what they find: \a cycles of
/// coming and going, and \a connections that come and go without a word. \return whether all checks held
bool runStages(int cycles, int connections);

} // namespace soak
