#pragma once

#include "WaitFor.h"

#include <QTest>

// Qt's own macros check every 50 ms and give up after 5 seconds: too early for a handshake on a loaded machine.
#undef QTRY_VERIFY
#undef QTRY_VERIFY2
#undef QTRY_COMPARE
#define QTRY_VERIFY(condition) QTRY_VERIFY2(condition, "in time")
#define QTRY_VERIFY2(condition, description)                                                                           \
    do {                                                                                                               \
        waitFor([&] { return static_cast<bool>(condition); });                                                         \
        QVERIFY2(condition, description);                                                                              \
    } while (false)
#define QTRY_COMPARE(actual, expected)                                                                                 \
    do {                                                                                                               \
        waitFor([&] { return (actual) == (expected); });                                                               \
        QCOMPARE(actual, expected);                                                                                    \
    } while (false)
