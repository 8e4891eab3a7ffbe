#pragma once

#include <QAbstractEventDispatcher>

class QObject;

namespace OrvaneInterface {

/// For the destructor of an object with a QBasicTimer. If the object is moved to another thread, Qt registers its
/// timers there in an event of its own. A timer that was stopped before that event is registered nevertheless, and
/// would outlive the object.
inline void unregisterTimers(QObject* receiver)
{
    if (auto* eventLoop = QAbstractEventDispatcher::instance())
        eventLoop->unregisterTimers(receiver);
}

} // namespace OrvaneInterface
