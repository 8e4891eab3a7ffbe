#pragma once

#include "OrvaneLimits.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QLatin1String>

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <utility>

class QObject;

namespace OrvaneInterface {

/**
 * The time that a client has for something, counted in steps of the event loop's timer.
 *
 * While the host's thread stands still, in a long call, it does not read what the client sends in time, and that is not
 * the client's fault. So a step that comes late counts as one, and it is not the last one: what the client has sent
 * meanwhile is read first. Only as many late steps again as there are steps end the time of a client whose host does
 * nothing but long calls.
 */
class Deadline {
public:
    /// \a owner gets the timer events. Nothing is started for a time of 0.
    void start(std::chrono::milliseconds time, QObject* owner)
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

    void stop() { timer.stop(); }
    bool owns(int timerId) const { return timer.timerId() == timerId; }
    /// To be called for each timer event. \return true when the time is over
    bool isOverAfterStep()
    {
        constexpr qint64 inaccuracy = 10; // a tenth; Qt's timers have half of that
        const bool isLate = sinceStep.restart() > stepMs + stepMs / inaccuracy + 1;
        --stepsLeft;
        return stepsLeft <= (isLate ? -steps : 0);
    }

private:
    QBasicTimer timer;
    QElapsedTimer sinceStep;
    qint64 stepMs = 0;
    qint64 steps = 0;
    qint64 stepsLeft = 0;
};

/**
 * What one client has taken, against the limits under which it was let in.
 *
 * Each question is answered with the limit that is exceeded, by its name in OrvaneLimits; null: none is.
 */
class ClientLimits {
    Q_DISABLE_COPY_MOVE(ClientLimits)

public:
    /// Counts the client in \a clients for as long as this lives.
    ClientLimits(std::shared_ptr<const OrvaneLimits> limits, std::shared_ptr<int> clients)
        : limits(std::move(limits))
        , clients(std::move(clients))
    {
        ++*this->clients;
    }
    ~ClientLimits() { --*clients; }

    /// Starts what runs against the time; \a owner gets the timer events.
    void start(QObject* owner)
    {
        handshake.start(limits->handshakeTimeout, owner);
        login.start(limits->loginTimeout, owner);
    }

    QLatin1String exceededByMessage(qint64 length, bool isLoggedIn) const
    {
        if (exceeds(length, limits->maxMessageLength))
            return QLatin1String("maxMessageLength");
        const bool exceedsBeforeLogin = !isLoggedIn && exceeds(length, limits->maxMessageLengthBeforeLogin);
        return exceedsBeforeLogin ? QLatin1String("maxMessageLengthBeforeLogin") : QLatin1String();
    }

    /// A client that is not logged in gets no replies: what waits for it is only what TLS itself answers.
    QLatin1String exceededByUnsent(qint64 bytes, bool isLoggedIn) const
    {
        constexpr qint64 mostBeforeLogin = 65536; // more than any handshake
        const qint64 most = isLoggedIn ? limits->maxUnsentBytes : std::min(limits->maxUnsentBytes, mostBeforeLogin);
        return exceeds(bytes, most) ? QLatin1String("maxUnsentBytes") : QLatin1String();
    }

    QLatin1String exceededByInvalidLogin()
    {
        return exceeds(++invalidLogins, limits->maxInvalidLogins) ? QLatin1String("maxInvalidLogins") : QLatin1String();
    }

    QLatin1String exceededByTime(int timerId, bool isEncrypted, bool isLoggedIn)
    {
        if (isEncrypted)
            handshake.stop();
        if (isLoggedIn)
            login.stop();
        if (handshake.owns(timerId) && handshake.isOverAfterStep())
            return QLatin1String("handshakeTimeout");
        if (login.owns(timerId) && login.isOverAfterStep())
            return QLatin1String("loginTimeout");
        return {};
    }

private:
    static constexpr bool exceeds(qint64 value, qint64 limit) { return limit > 0 && value > limit; }

    std::shared_ptr<const OrvaneLimits> limits;
    std::shared_ptr<int> clients; ///< outlives the server where a client does
    Deadline handshake;
    Deadline login;
    int invalidLogins = 0;
};

} // namespace OrvaneInterface
