#pragma once

#include "Report.h"

namespace soak {

struct Options {
    int clients = 1000; ///< at once
    int cycles = 10000; ///< of coming and going
    int roundTrips = 500; ///< measured while others misbehave
    int longestRoundTrip = 5; ///< seconds, beyond which the server is taken for stuck
};

// Each stage has a server process of its own.

/// Many clients at once: every reply right, in order for each client.
void runManyClients(const Options& options, Report& report);
/// Clients come and go in every way: no descriptor and no memory is left behind.
void runCycles(const Options& options, Report& report);
/// Clients misbehave: the others are served at once.
void runMisbehaviour(const Options& options, Report& report);
/// No descriptor is left: who is there is served, and who waits is served when another leaves.
void runWithoutDescriptors(const Options& options, Report& report);

} // namespace soak
