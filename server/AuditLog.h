#pragma once

#include <QJsonObject>
#include <QLoggingCategory>
#include <QString>

class QAbstractSocket;

namespace OrvaneInterface {

/**
 * The category "orvane.audit": who did what, a line for each event, off unless the host switches on its information
 * level.
 *
 * Ask isInfoEnabled() before putting an entry together, so that nothing is formatted while it is off. A line may run
 * code of the host, as any other.
 */
const QLoggingCategory& auditLog();

/// Writes \a entry as one line of JSON, in ASCII alone: no text of a client can end the line, or hide a part of it.
void writeAuditLine(const QJsonObject& entry);

/// Address and port, such as "192.0.2.7:50123" or "[2001:db8::7]:50123". Of a client: while it is connected; later its
/// socket has it as the name of the object.
QString peerOf(const QAbstractSocket& socket);

/// Cut where it is longer than what one wants to read in a log.
QString forAudit(const QString& clientText);

} // namespace OrvaneInterface
