#include "ClientLimits.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

constexpr bool exceeds(qint64 value, qint64 limit)
{
    return limit > 0 && value > limit;
}

} // namespace

void Deadline::start(std::chrono::milliseconds time, QObject* owner)
{
    constexpr qint64 usualSteps = 10;
    constexpr qint64 longestStep = std::numeric_limits<int>::max();
    if (time.count() <= 0)
        return;
    steps = std::max(std::min(usualSteps, qint64(time.count())), time.count() / longestStep + 1);
    stepMs = (time.count() - 1) / steps + 1; // rounded up
    stepsLeft = steps;
    timer.start(static_cast<int>(stepMs), owner);
    sinceStep.start();
}

bool Deadline::isOverAfterStep()
{
    constexpr qint64 inaccuracy = 10; // a tenth; Qt's timers have half of that
    const bool isLate = sinceStep.restart() > stepMs + stepMs / inaccuracy + 1;
    --stepsLeft;
    return stepsLeft <= (isLate ? -steps : 0);
}

ClientLimits::ClientLimits(std::shared_ptr<const OrvaneLimits> limits, std::shared_ptr<int> clients)
    : limits(std::move(limits))
    , clients(std::move(clients))
{
    ++*this->clients;
}

ClientLimits::~ClientLimits()
{
    --*clients;
}

void ClientLimits::start(QObject* owner)
{
    handshake.start(limits->handshakeTimeout, owner);
    login.start(limits->loginTimeout, owner);
}

QLatin1String ClientLimits::exceededByMessage(qint64 length, bool isLoggedIn) const
{
    if (exceeds(length, limits->maxMessageLength))
        return "maxMessageLength"_L1;
    if (!isLoggedIn && exceeds(length, limits->maxMessageLengthBeforeLogin))
        return "maxMessageLengthBeforeLogin"_L1;
    return {};
}

QLatin1String ClientLimits::exceededByUnsent(qint64 bytes, bool isLoggedIn) const
{
    constexpr qint64 mostBeforeLogin = 65536; // more than any handshake
    const qint64 most = isLoggedIn ? limits->maxUnsentBytes : std::min(limits->maxUnsentBytes, mostBeforeLogin);
    return exceeds(bytes, most) ? "maxUnsentBytes"_L1 : QLatin1String();
}

QLatin1String ClientLimits::exceededByInvalidLogin()
{
    return exceeds(++invalidLogins, limits->maxInvalidLogins) ? "maxInvalidLogins"_L1 : QLatin1String();
}

QLatin1String ClientLimits::exceededByTime(int timerId, bool isEncrypted, bool isLoggedIn)
{
    if (isEncrypted)
        handshake.stop();
    if (isLoggedIn)
        login.stop();
    if (handshake.owns(timerId))
        return handshake.isOverAfterStep() ? "handshakeTimeout"_L1 : QLatin1String();
    if (login.owns(timerId))
        return login.isOverAfterStep() ? "loginTimeout"_L1 : QLatin1String();
    return {};
}

} // namespace OrvaneInterface
