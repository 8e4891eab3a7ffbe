#include "SingleCommand.h"

#include "Console.h"
#include "HostSession.h"

#include <utility>

namespace OrvaneClient {

SingleCommand::SingleCommand(HostSession& session, Console& console, CommandRequest request, Expectation expectation)
    : session(session)
    , console(console)
    , request(std::move(request))
    , expectation(std::move(expectation))
{
    connect(&session, &HostSession::ready, this, [this] { this->session.exchange(this->request, this->expectation); });
    connect(&session, &HostSession::replyReceived, this, [this](const Reply& reply) { this->console.reply(reply); });
    connect(&session, &HostSession::exchangeFinished, this, &SingleCommand::handleFinished);
    connect(&session, &HostSession::finished, this, [this] { Q_EMIT ended(status); });
    connect(&session, &HostSession::broken, this, [this](ExitStatus reason, const QString& problem) {
        this->console.problem(problem);
        Q_EMIT ended(reason);
    });
}

void SingleCommand::handleFinished(ExitStatus result, const QString& problem)
{
    status = result;
    if (!problem.isEmpty())
        console.problem(problem);
    session.finish();
}

} // namespace OrvaneClient
