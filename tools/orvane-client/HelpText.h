#pragma once

#include <QString>

namespace OrvaneClient {

/// All of --help.
QString programHelp();

/// The same as a manual page, for man.
QString manualPage();

/// The commands of the protocol, one a line, and how parameters are written.
QString commandsHelp();

/// One command with its keys; empty when the protocol does not have it.
QString commandHelp(const QString& name);

} // namespace OrvaneClient
