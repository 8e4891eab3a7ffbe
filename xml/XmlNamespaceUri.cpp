#include "XmlNamespaceUri.h"

namespace OrvaneInterface {

// Owns its text, unlike a literal, which would point into a library that the host may unload.
const QString XmlNamespaceUri = QString::fromLatin1("http://www.halden.example/ravo_1_0/");

} // namespace OrvaneInterface
