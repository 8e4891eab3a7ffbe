#pragma once

#include "Log.h"
#include "Peer.h"

#include <memory>

namespace world {

/// What must always hold, and does not: "promise: what is against it", one each. Of these promises:
///   quiet         no warning, no finding, and no line that nobody knows
///   carried-out   of a client's messages the first ones, each once, in order; all of those of an orderly client
///   replies       the right ones, in order; all of them to who waits, or says good-bye and reads on
///   login         nobody is served without one
///   limits        each end by a limit has its reason, and no client is ended without one
///   pause         nobody is accepted in one
///   address       each client has one, with its port, wherever it is named
///   audit         each entry is JSON in ASCII; each connection begins and ends once; logins are what was sent
/// World adds descriptors and memory, the witness waiting.
std::vector<std::string> findBreaches(const std::vector<std::string>& acts, const std::vector<Line>& log,
    const std::vector<std::unique_ptr<Peer>>& peers);

} // namespace world
