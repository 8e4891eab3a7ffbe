#pragma once

#include <QObject>

namespace OrvaneInterface {

/**
 * How many clients' messages are being carried out inside one another. A child of the server.
 *
 * A host may run an event loop in its call, and the next client's message is carried out in that, and so on: each takes
 * about 8 KB of the stack, and what the host takes. So their number is bounded, and further clients wait. They wait
 * until half of the calls have returned: an outer call cannot return before those inside it, and would never do so if
 * each that returns were followed by another at once.
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

    bool mayBegin() const { return !isFull; }
    void begin() { isFull = ++nested == MostNested; }
    void end()
    {
        if (--nested > MostNested / 2 || !isFull)
            return;
        isFull = false;
        Q_EMIT halfHaveReturned();
    }

Q_SIGNALS:
    void halfHaveReturned();

private:
    int nested = 0;
    bool isFull = false; ///< since as many were nested as may be
};

} // namespace OrvaneInterface
