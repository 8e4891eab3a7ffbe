#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <functional>

/// How long a test or a measurement waits for an event: long enough for any machine.
inline constexpr int PatienceMs = 120'000;

/// Runs the event loop until \a condition holds, checking it after every event. \return false if it took too long
inline bool waitFor(const std::function<bool()>& condition)
{
    constexpr int wakeUpMs = 50; // for a condition that changes without an event
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

/// Runs the event loop until a timer of this time has fired, after all timers that were due before.
inline void runEventsFor(std::chrono::milliseconds time)
{
    QEventLoop loop;
    QTimer::singleShot(time, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}
