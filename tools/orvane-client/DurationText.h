#pragma once

#include <QString>

#include <chrono>

namespace OrvaneClient {

/// In seconds, as --timeout takes them.
inline QString durationText(std::chrono::milliseconds duration)
{
    return QStringLiteral("%1 s").arg(std::chrono::duration<double>(duration).count());
}

} // namespace OrvaneClient
