#pragma once

#include <QStringList>

namespace OrvaneClient {

/// What a shell offers for the last of these words of a command line, one a line: options, commands and their keys.
/// Nothing where a file is named.
QString shellCompletions(const QStringList& words);

} // namespace OrvaneClient
