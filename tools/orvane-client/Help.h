#pragma once

#include <QString>
#include <QStringList>

namespace OrvaneClient {

/// All of --help.
QString programHelp();

/// One command with its keys; without a name the commands of the protocol, one a line, and how parameters are written.
QString helpOn(const QString& command);

/// What a shell offers for the last of these words of a command line, one a line: options, commands and their keys.
/// Nothing where a file is named.
QString shellCompletions(const QStringList& words);

} // namespace OrvaneClient
