#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <functional>

/// How long a test or a measurement waits for what must come: so long that no machine is too slow for it.
inline constexpr int PatienceMs = 120'000;

/// Runs the event loop until \a condition holds, looking at it after every event. \return false when that took too long
inline bool waitFor(const std::function<bool()>& condition)
{
    constexpr int wakeUpMs = 50; // so that a condition is looked at that no event goes with
    QTimer wakeUp;
    wakeUp.start(wakeUpMs);
    const QDeadlineTimer deadline(PatienceMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

/// Runs the event loop until a timer of this time has fired in it: after all timers that were due before.
inline void runEventsFor(std::chrono::milliseconds time)
{
    QEventLoop loop;
    QTimer::singleShot(time, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}
