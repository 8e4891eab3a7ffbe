#pragma once

#include "Report.h"

namespace soak {

struct Options {
    int clients = 1000; ///< at once
    int cycles = 10000; ///< of coming and going
    int connections = 100000; ///< that come and go without a word
    int roundTrips = 500; ///< measured while others misbehave
    int longestRoundTrip = 5; ///< seconds, beyond which the server is taken for stuck
};

// Each stage has a server process of its own.

/// Many clients at once: every reply right, in order for each client.
void runManyClients(const Options& options, Report& report);
/// Clients come and go in every way: no descriptor and no memory is left behind.
void runCycles(const Options& options, Report& report);
/// Connections come and go, with no TLS and no login: what remains of each is known, and what the next ones cost.
void runConnections(const Options& options, Report& report);
/// The host runs an event loop in each log line, while clients come and go in every way.
void runLogWindow(const Options& options, Report& report);
/// Clients misbehave: the others are served at once.
void runMisbehaviour(const Options& options, Report& report);
/// No descriptor is left: who is there is served, and who waits is served when another leaves.
void runWithoutDescriptors(const Options& options, Report& report);
/// Descriptors run out and are freed again in random orders: whoever waits is served, with nobody's help.
void runRandomShortages(const Options& options, Report& report);

} // namespace soak
