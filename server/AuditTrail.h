#pragma once

#include "OrvaneClient.h"

#include <QString>

namespace OrvaneInterface {

/**
 * What one client does, for the category "orvane.audit": a line of JSON, in ASCII alone, for each of its events. No
 * text of a client can end the line, or hide a part of it.
 *
 * The category is off unless the host switches on its information level. A line may run code of the host, as any other.
 */
class AuditTrail {
public:
    /// Whether there are lines.
    static bool isOn();

    /// Writes the event, unless the client has said too much before its login; how much that was stands in its last
    /// line.
    void write(const OrvaneClientEvent& event);

private:
    bool isLeftOut(const OrvaneClientEvent& event);

    int entriesBeforeLogin = 0; ///< of what the client has sent, or that would have been written of it
};

/// Characters of a text of a client that are written.
inline constexpr qsizetype LongestText = 200;

/// Of a client's name, of its command or of a parameter: cut where it is longer than what one wants to read in a log.
QString shortened(const QString& clientText);

/// Address and port, such as "192.0.2.7:50123" or "[2001:db8::7]:50123".
QString peerOf(const OrvaneClient& client);

} // namespace OrvaneInterface
