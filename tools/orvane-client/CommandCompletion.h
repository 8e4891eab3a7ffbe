#pragma once

#include <QString>
#include <QStringList>

namespace OrvaneClient {

/// What the last word of a line can become: a command, a key that the command does not have yet, or a group's field.
/// A key comes with its "=", ready for the value.
QStringList completionsOf(const QString& lineBefore, const QString& word);

} // namespace OrvaneClient
