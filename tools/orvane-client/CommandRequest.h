#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace OrvaneClient {

/// One command, ready to be sent.
struct CommandRequest {
    QString command; ///< local name of the root element; empty if the document has none that can be read
    QByteArray document; ///< without the end of message
};

/**
 * The document for a command's name and its parameters. It is well-formed, whatever the values are, and plain ASCII if
 * a host would read it in pieces. Refuses what can be no document.
 *
 * A parameter is "key=value", an element; or a group "name:field=value,field=value", an element "name" with attributes,
 * collected with the others of its name in one element "names". In a group "\," is a comma and "\\" a backslash.
 */
CommandRequest requestFromWords(const QStringList& words, bool inAscii = false);

/// The same, but refuses also what the protocol does not have, unless \a isForced. See commandFault().
CommandRequest checkedRequest(const QStringList& words, bool isForced);

/// A document that somebody else wrote, sent as it is: it may be anything but empty or more than one message.
CommandRequest requestFromDocument(const QByteArray& document, const QString& fileName);

/// The words of a line, with quotes and backslashes as in a shell.
QStringList wordsOfLine(const QByteArray& line);

/// Whether an element or an attribute without a namespace prefix can have this name.
bool isXmlName(const QString& name);

} // namespace OrvaneClient
