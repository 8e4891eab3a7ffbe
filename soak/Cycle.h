#pragma once

#include "TlsClient.h"

namespace soak {

/// One way of coming and going again.
class Cycle : public QObject {
    Q_OBJECT

public:
    enum class Leaving { AfterReply, InMidMessage, ByResetAfterReply, InMidHandshake, ByResetInMidHandshake };
    static constexpr int LeavingCount = 5;

    Cycle(quint16 port, Leaving leaving);

    bool isDone() const { return done; }
    bool wentWrong() const { return failed; }

private:
    void startHandshake();
    void talk();
    void handleReply();
    void leave(bool byReset);

    TlsClient socket;
    Leaving leaving;
    bool done = false;
    bool failed = false;
};

} // namespace soak
