#pragma once

#include "Outcome.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace OrvaneClient {

/// One command, ready to be sent.
struct CommandRequest {
    QString command; ///< local name of the root element; empty when the document has none that can be read
    QByteArray document; ///< without the end of message
};

/**
 * The document for a command's name and its parameters, which is well-formed whatever the values are.
 *
 * A parameter is "key=value", an element; or a group "name:field=value,field=value", an element "name" with attributes,
 * collected with the others of its name in one element "names". In a group "\," is a comma and "\\" a backslash.
 */
Result<CommandRequest> requestFromWords(const QStringList& words);

/// The words of a line, with quotes and backslashes as in a shell.
Result<QStringList> wordsOfLine(const QByteArray& line);

/// Whether the word of a parameter is a group: it has a colon, and no "=" before it.
bool isGroup(const QString& word);

/// The fields of a group: the parts between the commas that have no backslash before them.
QStringList groupParts(const QString& text);

/// A document that somebody else wrote, sent as it is: it may be anything but empty or more than one message.
Result<CommandRequest> requestFromDocument(const QByteArray& document);

/// The document of the login.
Result<CommandRequest> loginRequest(const QString& user, const QString& password);

/// Whether an element or an attribute without a namespace prefix can have this name.
bool isXmlName(const QString& name);

/// The first character that no XML document can hold, as "U+0001"; empty when there is none.
QString characterNotInXml(const QString& text);

/// The text as element content or attribute value. Line ends become references: an empty line would end the message,
/// and a reader would turn the others into blanks or into single line feeds.
QString escapedXml(const QString& text);

} // namespace OrvaneClient
