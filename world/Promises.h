#pragma once

#include "Log.h"
#include "Peer.h"

namespace world {

/// Finds the broken promises, each as "promise: what breaks it". What must always hold:
///   quiet         no warning, no finding of a sanitizer, no unknown line
///   carried-out   a client's messages up to some point, each once, in order; all messages of an orderly client
///   replies       the right ones, in order; all of them if the client waits, or sends close_notify and reads on
///   login         no client is served without one
///   limits        each disconnection by a limit has its reason, and no client is disconnected without a reason
///   pause         no client is accepted during one
///   address       wherever a client is named, its address and port are given
///   audit         each entry is JSON in ASCII, with the outcome of its command; each connection begins and ends once;
///                 logins are as sent; at most ten entries before a login
///   host          its settings stay
/// If the host has closed or destroyed the server, or run an event loop in a log line, clients may miss something: then
/// completeness is not checked. World adds descriptors, memory, crash and hang. A run adds waiting: of the witness.
std::vector<std::string> findBreaches(const std::vector<std::string>& acts, const std::vector<Line>& log,
    const std::vector<std::unique_ptr<Peer>>& peers);

} // namespace world
