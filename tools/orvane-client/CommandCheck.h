#pragma once

#include "CommandRequest.h"

#include <QString>
#include <QStringList>

namespace OrvaneClient {

/// What the host would ignore, or take for something else, in the words of a command: a command, a key or a field that
/// the protocol does not have, a number that is none. With what may be meant. Empty when there is nothing.
QString commandFault(const QStringList& words);

/// The document of the words; not of those with a fault, unless \a isForced.
Result<CommandRequest> checkedRequest(const QStringList& words, bool isForced);

} // namespace OrvaneClient
