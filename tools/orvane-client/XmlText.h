#pragma once

#include <QString>

namespace OrvaneClient {

/// Whether an element or an attribute without a namespace prefix can have this name.
bool isXmlName(const QString& name);

/// The first character that no XML document can hold, as "U+0001"; empty when there is none.
QString characterNotInXml(const QString& text);

/// The text as element content or attribute value. Line ends become references: an empty line would end the message,
/// and a reader would turn the others into blanks or into single line feeds.
QString escapedXml(const QString& text);

} // namespace OrvaneClient
