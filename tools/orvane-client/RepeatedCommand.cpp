#include "RepeatedCommand.h"

#include "Console.h"
#include "HostSession.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

QString milliseconds(qint64 nanoseconds)
{
    constexpr double nanosecondsPerMillisecond = 1e6;
    return u"%1 ms"_s.arg(static_cast<double>(nanoseconds) / nanosecondsPerMillisecond, 0, 'f', 2);
}

} // namespace

RepeatedCommand::RepeatedCommand(
    HostSession& session, Console& console, CommandRequest request, Expectation expectation, int repetitions)
    : session(session)
    , console(console)
    , request(std::move(request))
    , expectation(std::move(expectation))
    , repetitions(repetitions)
{
    connect(&session, &HostSession::ready, this, &RepeatedCommand::sendNext);
    connect(&session, &HostSession::exchangeFinished, this, &RepeatedCommand::handleFinished);
    connect(&session, &HostSession::broken, this, &RepeatedCommand::handleBroken);
    connect(&session, &HostSession::finished, this, [this] { Q_EMIT ended(status); });
    sinceProgress.start();
}

void RepeatedCommand::sendNext()
{
    ++sent;
    sinceSent.start();
    session.exchange(request, expectation);
}

void RepeatedCommand::handleFinished(ExitStatus result, const QString& problem)
{
    constexpr qint64 progressMs = 500;
    if (result == ExitStatus::Success)
        nanoseconds.push_back(sinceSent.nsecsElapsed());
    else if (std::exchange(status, status == ExitStatus::Success ? result : status) == ExitStatus::Success)
        console.problem(problem); // the others are counted
    if (sinceProgress.hasExpired(progressMs)) {
        console.progress(u"%1 of %2"_s.arg(sent).arg(repetitions));
        sinceProgress.start();
    }
    if (sent < repetitions && result != ExitStatus::NotLoggedIn) {
        sendNext();
        return;
    }
    tellResult();
    session.finish();
}

void RepeatedCommand::handleBroken(ExitStatus result, const QString& problem)
{
    console.problem(problem);
    if (status == ExitStatus::Success)
        status = result;
    if (sent > 0)
        tellResult();
    Q_EMIT ended(status);
}

void RepeatedCommand::tellResult()
{
    console.progress({});
    QString text = u"%1 of %2 went well"_s.arg(nanoseconds.size()).arg(repetitions);
    if (!nanoseconds.empty()) {
        std::sort(nanoseconds.begin(), nanoseconds.end());
        const auto at = [this](size_t percent) { return nanoseconds[(nanoseconds.size() - 1) * percent / 100]; };
        text += u"; median %1, 95th percentile %2, slowest %3"_s.arg(
            milliseconds(at(50)), milliseconds(at(95)), milliseconds(at(100)));
    }
    console.text(text + u'\n');
}

} // namespace OrvaneClient
