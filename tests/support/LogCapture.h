#pragma once

#include <QStringList>

#include <functional>

/// Collects the debug lines of Qt's default category while it lives. One at a time, for one thread.
class LogCapture {
    Q_DISABLE_COPY_MOVE(LogCapture)

public:
    /// \a whenLogged is run for each line, inside of it, as a log window of a host would. Lines that come meanwhile go
    /// past it: Qt writes them to the standard error.
    explicit LogCapture(std::function<void(const QString& line)> whenLogged = {});
    ~LogCapture();

    /// The lines since the last call.
    static QStringList take();
};
