#pragma once

#include <QLatin1String>
#include <QString>

/// The facts of the protocol that library, client and examples share. Internal: it is not installed.
namespace OrvaneInterface {

inline constexpr unsigned short DefaultPort = 5679;

/// The end of every message on the wire, in both directions: an empty line.
inline constexpr QLatin1String MessageTerminator("\r\n\r\n");

/// The protocol's XML namespace, to which every reply binds the prefix p. Documents of clients are not checked for it.
/// It owns its text, unlike a literal, which would point into a library that the host may unload.
inline const QString XmlNamespaceUri = QString::fromLatin1("http://www.halden.example/ravo_1_0/");

// The system account is part of the protocol: every installation has it, and every client of Orvane knows it.
inline constexpr QLatin1String SystemUserName("Orvane");
inline constexpr QLatin1String SystemPassword("157b25b09a99c70fc75a6e79412a00b2");

// Why a command is rejected.
inline constexpr QLatin1String UnknownCommand("Unknown command");
inline constexpr QLatin1String RefreshIsRunning("Recorder list update already running");
inline constexpr QLatin1String NoTrack("showTrack command without valid track ID or track name");

/// How a character stands in a text between two tags; null: as it is.
constexpr QLatin1String entityOf(QChar character)
{
    switch (character.unicode()) {
    case u'&':
        return QLatin1String("&amp;");
    case u'<':
        return QLatin1String("&lt;");
    case u'>':
        return QLatin1String("&gt;");
    case u'\r': // an empty line in a text would end the message
        return QLatin1String("&#13;");
    default:
        return {};
    }
}

} // namespace OrvaneInterface
