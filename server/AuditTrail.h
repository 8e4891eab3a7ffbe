#pragma once

#include "OrvaneClient.h"

#include <QString>

namespace OrvaneInterface {

/**
 * Logs the events of one client in the category "orvane.audit": one line of JSON each, in ASCII only. Client text can
 * neither end the line nor hide part of it.
 *
 * The category is off unless the host enables its information level. Like any log call, this may run the host's message
 * handler.
 */
class AuditTrail {
public:
    /// Whether the category is enabled.
    static bool isOn();

    /// Writes the event, unless the client has used up its entries before the login. Its last line says how many were
    /// left out.
    void write(const OrvaneClientEvent& event);

private:
    bool isLeftOut(const OrvaneClientEvent& event);

    int entriesBeforeLogin = 0; ///< entries about what the client has sent, written or left out
};

/// Maximum length of client text in a line, in characters.
inline constexpr qsizetype LongestText = 200;

/// Shortens a user name, command name or parameter to what is readable in a log.
QString shortened(const QString& clientText);

/// Address and port, such as "192.0.2.7:50123" or "[2001:db8::7]:50123".
QString peerOf(const OrvaneClient& client);

} // namespace OrvaneInterface
