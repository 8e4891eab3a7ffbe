#pragma once

#include <QByteArray>
#include <QString>

namespace OrvaneClient {

/// Bytes that were sent, made visible: one line for each line, marked ">", the password of a login blanked out.
QString traceOfSent(const QByteArray& bytes);

/// Bytes that were received, as they came in one read, marked "<".
QString traceOfReceived(const QByteArray& bytes);

} // namespace OrvaneClient
