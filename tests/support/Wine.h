#pragma once

#include <QLibrary>

/// Whether wine stands in for Windows.
inline bool isWine()
{
#ifdef Q_OS_WIN
    return QLibrary(QStringLiteral("ntdll")).resolve("wine_get_version") != nullptr;
#else
    return false;
#endif
}
