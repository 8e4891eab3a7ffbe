#pragma once

#include "OrvaneClient.h"

#include <QAbstractEventDispatcher>
#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>
#include <utility>

namespace OrvaneInterface {

/// Comes first in each queued call. If the host runs an event loop in it, Qt would not deliver what is queued behind it
/// until something else is queued, and clients would wait.
inline void wakeNestedEventLoop()
{
    if (auto* dispatcher = QAbstractEventDispatcher::instance())
        dispatcher->wakeUp();
}

/**
 * Counts the nested messages of clients that are being carried out, and knows the client of the innermost call.
 *
 * A host may run a nested event loop in a call. The next client's message is carried out in that loop, and so on. Each
 * level takes about 8 KB of stack, and what the host uses. So the depth is limited, and further clients wait until a
 * call returns. Then one of them starts in the next round of the event loop: an outer call that has nothing left to do
 * returns first, and waiting clients do not prolong it.
 *
 * Thread: the server's.
 */
class HostCalls : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HostCalls)

public:
    /// They use a quarter of 1 MiB, the smallest usual stack of a main thread.
    static constexpr int MostNested = 32;

    using QObject::QObject;

    bool mayBegin() const { return nested < MostNested && !isOver; }
    void begin() { ++nested; }
    void end()
    {
        --nested;
        wakeNext();
    }

    /// Calls \a resume once, when \a who may begin. If \a who then does not begin, \a resume must call wakeNext().
    void wait(QObject* who, std::function<void()> resume) { waiting.append({who, std::move(resume)}); }
    void wakeNext()
    {
        while (mayBegin() && !waiting.isEmpty()) {
            const auto [who, resume] = waiting.takeFirst();
            if (!who.isNull()) {
                QMetaObject::invokeMethod(who, resume, Qt::QueuedConnection);
                return;
            }
        }
    }

    /// The server is being destroyed: no client begins any more.
    void stop() { isOver = true; }

    /// The client whose command the innermost running call carries out; null outside all calls.
    OrvaneClient currentClient() const { return current ? *current : OrvaneClient(); }
    /// \a client must live until another one is set. \return the previous one; may be null
    const OrvaneClient* setCurrentClient(const OrvaneClient* client) { return std::exchange(current, client); }

private:
    const OrvaneClient* current = nullptr;
    int nested = 0;
    bool isOver = false;
    QList<std::pair<QPointer<QObject>, std::function<void()>>> waiting;
};

} // namespace OrvaneInterface
