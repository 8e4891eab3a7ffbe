#pragma once

#include <QtGlobal>

namespace soak {

constexpr int RecorderCount = 1000; ///< of the host that the soak's server has

/// What the host does with a line of the library.
enum class LogWindow { DropsLines, RunsAnEventLoop };

/// Runs the server in this process until the standard input ends: what ServerProcess starts. \return the exit status
int serve(quint16 port, LogWindow logWindow);

} // namespace soak
