#pragma once

#include <QLibrary>

/// Why tests are skipped.
inline constexpr const char* WineMissesEnds =
    "wine does not always tell that a client has left to which an answer was sent after that";

/// Whether wine stands in for Windows.
inline bool isWine()
{
#ifdef Q_OS_WIN
    return QLibrary(QStringLiteral("ntdll")).resolve("wine_get_version") != nullptr;
#else
    return false;
#endif
}
