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
 * A client's time limit for something, counted in steps of an event loop timer.
 *
 * While a long call blocks the host's thread, input is not read in time, and that is not the client's fault. So a late
 * step counts as one step, and never as the last: first, the input that has arrived meanwhile is read. If the host does
 * nothing but long calls, late steps alone expire the deadline, after twice the normal number.
 */
class Deadline {
public:
    /// \a owner receives the timer events. A time of 0 starts nothing.
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

    void stop()
    {
        timer.stop();
        steps = 0;
    }
    void pause() { timer.stop(); }
    void resume(QObject* owner)
    {
        if (steps > 0)
            timer.start(static_cast<int>(stepMs), owner);
    }
    bool owns(int timerId) const { return timer.timerId() == timerId; }
    /// Call it for each timer event. \return true if the time is up
    bool isOverAfterStep()
    {
        constexpr qint64 inaccuracy = 10; // a tenth; Qt's timers need half of that
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
 * Checks one client against the limits under which it was admitted.
 *
 * Each check returns the name of the exceeded limit in OrvaneLimits, or null if none is exceeded.
 */
class ClientLimits {
    Q_DISABLE_COPY_MOVE(ClientLimits)

public:
    /// Counts the client in \a clients for the lifetime of this object.
    ClientLimits(std::shared_ptr<const OrvaneLimits> limits, std::shared_ptr<int> clients)
        : limits(std::move(limits))
        , clients(std::move(clients))
    {
        ++*this->clients;
    }
    ~ClientLimits() { --*clients; }

    /// Starts the time limits; \a owner receives the timer events.
    void start(QObject* owner)
    {
        handshake.start(limits->handshakeTimeout, owner);
        login.start(limits->loginTimeout, owner);
    }

    /// While the owner is moved to another thread. \{
    void pause()
    {
        handshake.pause();
        login.pause();
    }
    void resume(QObject* owner)
    {
        handshake.resume(owner);
        login.resume(owner);
    }
    /// \}

    QLatin1String exceededByMessage(qint64 length, bool isLoggedIn) const
    {
        if (exceeds(length, limits->maxMessageLength))
            return QLatin1String("maxMessageLength");
        const bool exceedsBeforeLogin = !isLoggedIn && exceeds(length, limits->maxMessageLengthBeforeLogin);
        return exceedsBeforeLogin ? QLatin1String("maxMessageLengthBeforeLogin") : QLatin1String();
    }

    /// A client that is not logged in gets no replies, so only responses of TLS itself can be unsent.
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
    std::shared_ptr<int> clients; ///< outlives the server if a client does
    Deadline handshake;
    Deadline login;
    int invalidLogins = 0;
};

} // namespace OrvaneInterface
