#pragma once

#include "CommandRequest.h"
#include "Reply.h"

#include <QElapsedTimer>
#include <QObject>

#include <vector>

namespace OrvaneClient {

class Console;
class HostSession;

/// Sends one command many times, each when the one before is answered, and tells how long the answers took. Console and
/// session belong to the caller and live longer.
class RepeatedCommand : public QObject {
    Q_OBJECT

public:
    RepeatedCommand(
        HostSession& session, Console& console, CommandRequest request, Expectation expectation, int repetitions);

Q_SIGNALS:
    /// With the status of the first one that failed.
    void ended(ExitStatus status);

private:
    void sendNext();
    void handleFinished(ExitStatus result, const QString& problem);
    void handleBroken(ExitStatus result, const QString& problem);
    void tellResult();

    HostSession& session;
    Console& console;
    CommandRequest request;
    Expectation expectation;
    int repetitions;
    QElapsedTimer sinceSent;
    QElapsedTimer sinceProgress;
    std::vector<qint64> nanoseconds; ///< of those that went well
    int sent = 0;
    ExitStatus status = ExitStatus::Success;
};

} // namespace OrvaneClient
