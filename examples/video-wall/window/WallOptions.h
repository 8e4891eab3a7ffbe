#pragma once

#include <QSize>
#include <QString>

class QCoreApplication;

/// What the command line asks for. Help and version are answered, and bad values refused, before there is one.
struct WallOptions {
    /// Ends the process for --help and --version (status 0) and for what it cannot understand (status 1).
    explicit WallOptions(const QCoreApplication& application);

    quint16 port = 0;
    QString user;
    QSize size;
    QString snapshotFile;
    QString snapshotDirectory;
    bool demo = false;
};
