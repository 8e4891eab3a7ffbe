#pragma once

#include <QString>

namespace OrvaneInterface {

/// The protocol's XML namespace, to which every reply binds the prefix p. Documents of clients are not checked for it.
extern const QString XmlNamespaceUri;

} // namespace OrvaneInterface
