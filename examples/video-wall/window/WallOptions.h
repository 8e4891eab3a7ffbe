#pragma once

#include <QSize>
#include <QString>

class QCoreApplication;

/// The options of the command line, all valid.
struct WallOptions {
    /// Ends the process for --help and --version (status 0) and for invalid arguments (status 1).
    explicit WallOptions(const QCoreApplication& application);

    quint16 port = 0;
    QString user;
    QSize size;
    QString snapshotFile;
    QString snapshotDirectory;
    bool demo = false;
};
