#pragma once

#include <QStringList>

#include <functional>

/// Collects the debug lines of Qt's default category while it lives. One at a time, for one thread.
class LogCapture {
    Q_DISABLE_COPY_MOVE(LogCapture)

public:
    /// \a whenLogged runs inside each line, as a host's log window would. Lines that come meanwhile bypass it: Qt
    /// writes them to standard error.
    explicit LogCapture(std::function<void(const QString& line)> whenLogged = {});
    ~LogCapture();

    /// The lines since the last call.
    static QStringList take();
};
