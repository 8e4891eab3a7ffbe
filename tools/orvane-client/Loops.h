#pragma once

#include "Outcome.h"

namespace OrvaneClient {

class Host;

// Each does what the settings of the host say. It returns the status of the program, or throws the outcome that it ends
// with.

/// Commands from a prompt or from standard input, one after the other. \return the status of the first that failed; at
/// a prompt the user has seen the failures
ExitStatus runLines(Host& host);

/// Plays the commands of the protocol against a host, and says of each what came, and what it means for the host's
/// developer.
ExitStatus runCheck(Host& host);

} // namespace OrvaneClient
