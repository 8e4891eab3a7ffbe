#pragma once

#include "Outcome.h"

namespace OrvaneClient {

class Host;

// Each follows the settings of the host. It returns the program's exit status, or throws an Outcome.

/// Runs commands from a prompt or from standard input, one by one. \return the status of the first that failed; Success
/// at a prompt, where the user has seen the failures
ExitStatus runLines(Host& host);

/// Sends the protocol's commands to a host, and reports each result with its meaning for the host developer.
ExitStatus runCheck(Host& host);

} // namespace OrvaneClient
