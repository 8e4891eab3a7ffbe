#pragma once

#include "OrvaneClient.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>
#include <utility>

namespace OrvaneInterface {

/**
 * How many clients' messages are being carried out inside one another, and whose is the innermost.
 *
 * A host may run an event loop in its call, and the next client's message is carried out in that, and so on: each takes
 * about 8 KB of the stack, and what the host takes. So their number is bounded, and further clients wait until one of
 * the calls returns. Then one of them begins, when the event loop comes round: an outer call that has nothing left to
 * do returns before that, and is not kept by those who wait.
 *
 * Thread: that of the server.
 */
class HostCalls : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HostCalls)

public:
    /// A quarter of the smallest stack that a main thread usually has, 1 MiB.
    static constexpr int MostNested = 32;

    using QObject::QObject;

    bool mayBegin() const { return nested < MostNested; }
    void begin() { ++nested; }
    void end()
    {
        --nested;
        wakeNext();
    }

    /// Calls \a resume of \a who once, when it may begin. It is to call wakeNext() if it does not.
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

    /// Whose command the innermost call carries out that is running; null outside of all.
    OrvaneClient currentClient() const { return current ? *current : OrvaneClient(); }
    /// \a client must live until another one is set. \return the one before; may be null
    const OrvaneClient* setCurrentClient(const OrvaneClient* client) { return std::exchange(current, client); }

private:
    const OrvaneClient* current = nullptr;
    int nested = 0;
    QList<std::pair<QPointer<QObject>, std::function<void()>>> waiting;
};

} // namespace OrvaneInterface
