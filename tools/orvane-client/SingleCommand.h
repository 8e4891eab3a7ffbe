#pragma once

#include "CommandRequest.h"
#include "ExitStatus.h"
#include "Expectation.h"

#include <QObject>

namespace OrvaneClient {

class Console;
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

} // namespace OrvaneClient
