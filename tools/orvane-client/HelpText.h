#pragma once

#include "Outcome.h"

#include <QString>

namespace OrvaneClient {

/// All of --help.
QString programHelp();

/// The same as a manual page, for man.
QString manualPage();

/// One command with its keys; without a name the commands of the protocol, one a line, and how parameters are written.
Result<QString> helpOn(const QString& command);

} // namespace OrvaneClient
