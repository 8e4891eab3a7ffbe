#pragma once

#include <QStringList>

/// Collects the debug lines of Qt's default category while it lives. One at a time.
class LogCapture {
    Q_DISABLE_COPY_MOVE(LogCapture)

public:
    LogCapture();
    ~LogCapture();

    /// The lines since the last call.
    static QStringList take();
};
