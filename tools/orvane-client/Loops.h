#pragma once

#include "Command.h"
#include "Outcome.h"

#include <QList>

namespace OrvaneClient {

class Console;
class Host;
class Settings;

// Each returns the status of the program, or throws the outcome that it ends with.

/// One command, with its answer.
ExitStatus runCommand(Host& host, Console& console, const Settings& settings, const CommandRequest& request);

/// Commands from a prompt or from standard input, one after the other. \return the status of the first that failed; at
/// a prompt the user has seen the failures
ExitStatus runLines(Host& host, Console& console, const Settings& settings);

/// Notices, and the changes of the answers to \a queries, until a signal.
ExitStatus runWatch(Host& host, Console& console, const Settings& settings, const QList<CommandRequest>& queries);

/// Plays the commands of the protocol against a host, and says of each what came, and what it means for the host's
/// developer.
ExitStatus runCheck(Host& host, Console& console, const Settings& settings);

} // namespace OrvaneClient
