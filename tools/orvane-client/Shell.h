#pragma once

#include "ExitStatus.h"

#include <QObject>

namespace OrvaneClient {

class Console;
class LineSource;
class HostSession;

/// Runs the commands of a line source one after the other. What it is given belongs to the caller and lives longer.
class Shell : public QObject {
    Q_OBJECT

public:
    Shell(HostSession& session, LineSource& source, Console& console);

Q_SIGNALS:
    /// With the status of the first command that failed; a person at a prompt has seen the failures.
    void ended(ExitStatus status);

private:
    void handleReady();
    void handleLine(const QByteArray& line);
    void handleFinished(ExitStatus result, const QString& problem);
    void handleBroken(ExitStatus result, const QString& problem);
    bool runOwnCommand(const QByteArray& line);
    void sendCommand(const QByteArray& line);
    void noteFailure(ExitStatus result, const QString& problem);

    HostSession& session;
    LineSource& source;
    Console& console;
    ExitStatus status = ExitStatus::Success;
};

} // namespace OrvaneClient
