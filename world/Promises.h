#pragma once

#include "Log.h"
#include "Peer.h"

namespace world {

/// What must always hold, and does not: "promise: what is against it", one each. Of these promises:
///   quiet         no warning, no finding, and no line that nobody knows
///   carried-out   of a client's messages the first ones, each once, in order; all of those of an orderly client
///   replies       the right ones, in order; all of them to who waits, or says good-bye and reads on
///   login         nobody is served without one
///   limits        each end by a limit has its reason, and no client is ended without one
///   pause         nobody is accepted in one
///   address       each client has one, with its port, wherever it is named
///   audit         each entry is JSON in ASCII, with the outcome that the command has; each connection begins and ends
///                 once; logins are what was sent; ten entries before a login
///   host          what it has set stays
/// What a client may miss because the host has closed or destroyed the server, or run a loop in a line, is not looked
/// at: in such a world nobody has to get everything. World adds
/// descriptors, memory, crash and hang, a run waiting: of the witness.
std::vector<std::string> findBreaches(const std::vector<std::string>& acts, const std::vector<Line>& log,
    const std::vector<std::unique_ptr<Peer>>& peers);

} // namespace world
