#pragma once

#include <QByteArray>
#include <QString>

namespace OrvaneClient {

/// The text of bytes that a host has sent. Those that are no UTF-8, such as a character that two reads cut apart, are
/// taken one by one.
QString textOfBytes(const QByteArray& bytes);

/// Whether a terminal would obey the character instead of showing it, or show others in another order because of it.
bool isHarmful(QChar character);

/// The character; as \\x1b or \\u202e, where it is harmful.
QString visible(QChar character);

/// The text with all that is harmful made visible, but for line feeds and tabulators.
QString visibleText(const QString& text);

} // namespace OrvaneClient
