#pragma once

#include "CommandRequest.h"
#include "Console.h"
#include "HostNames.h"
#include "Outcome.h"
#include "Reply.h"

#include <QByteArray>
#include <QObject>
#include <QString>

namespace OrvaneClient {

class LineSource;
class HostSession;

/// Sends one command and ends with its outcome. Console and session belong to the caller and live longer.
class SingleCommand : public QObject {
    Q_OBJECT

public:
    SingleCommand(HostSession& session, Console& console, CommandRequest request, Expectation expectation);

Q_SIGNALS:
    void ended(ExitStatus status);

private:
    void handleFinished(ExitStatus result, const QString& problem);

    HostSession& session;
    Console& console;
    CommandRequest request;
    Expectation expectation;
    ExitStatus status = ExitStatus::Success;
};

/// Runs the commands of a line source one after the other. What it is given belongs to the caller and lives longer.
class Shell : public QObject {
    Q_OBJECT

public:
    /// \a isForced: sends also what the protocol does not have.
    Shell(HostSession& session, LineSource& source, Console& console, bool isForced);

Q_SIGNALS:
    /// With the status of the first command that failed; a person at a prompt has seen the failures.
    void ended(ExitStatus status);

private:
    void handleReady();
    void handleLine(const QByteArray& line);
    void handleFinished(ExitStatus result, const QString& problem);
    void handleBroken(ExitStatus result, const QString& problem);
    void handleInterrupted();
    void askForLine();
    void showReply(const Reply& reply);
    QStringList valuesOf(const QString& key);
    bool runOwnCommand(const QByteArray& line);
    void sendCommand(const QByteArray& line);
    void noteFailure(ExitStatus result, const QString& problem);

    HostSession& session;
    LineSource& source;
    Console& console;
    bool isForced;
    qint64 lineNumber = 0; ///< 0 before the first one
    HostNames names;
    bool wasReady = false;
    bool asksForNames = false; ///< what comes then is for the completion
    bool asksForLine = false; ///< the prompt, where there is one, is shown
    ExitStatus status = ExitStatus::Success;
};

} // namespace OrvaneClient
