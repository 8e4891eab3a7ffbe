#pragma once

#include <QLatin1String>
#include <QString>

/// Protocol definitions shared by library, client and examples. Internal: not installed.
namespace OrvaneInterface {

inline constexpr unsigned short DefaultPort = 5679;

/// Ends every message on the wire, in both directions: an empty line.
inline constexpr QLatin1String MessageTerminator("\r\n\r\n");

/// The protocol's XML namespace. Every reply binds the prefix p to it; client documents are not checked for it. Owns
/// its text, unlike a literal, which would point into a library that the host may unload.
inline const QString XmlNamespaceUri = QString::fromLatin1("http://www.halden.example/ravo_1_0/");

// The system account is part of the protocol: every installation has it, and every Orvane client knows it.
inline constexpr QLatin1String SystemUserName("Orvane");
inline constexpr QLatin1String SystemPassword("157b25b09a99c70fc75a6e79412a00b2");

// Reasons for rejecting a command.
inline constexpr QLatin1String UnknownCommand("Unknown command");
inline constexpr QLatin1String RefreshIsRunning("Recorder list update already running");
inline constexpr QLatin1String NoTrack("showTrack command without valid track ID or track name");

/// The escape for a character in element text; null if it needs none.
constexpr QLatin1String entityOf(QChar character)
{
    switch (character.unicode()) {
    case u'&':
        return QLatin1String("&amp;");
    case u'<':
        return QLatin1String("&lt;");
    case u'>':
        return QLatin1String("&gt;");
    case u'\r': // an empty line inside text would end the message
        return QLatin1String("&#13;");
    default:
        return {};
    }
}

} // namespace OrvaneInterface
