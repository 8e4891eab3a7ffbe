#pragma once

#include <QString>

class QSslConfiguration;

namespace OrvaneInterface {

/// Why no client can be served with this key and certificate, in words for a person; empty when clients can.
QString tlsTrouble(const QSslConfiguration& configuration);

} // namespace OrvaneInterface
