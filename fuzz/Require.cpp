#include "Require.h"

#include <cstdio>
#include <cstdlib>

void require(bool holds, const QString& what)
{
    if (holds)
        return;
    static_cast<void>(std::fprintf(stderr, "FINDING: %s\n", qPrintable(what)));
    static_cast<void>(std::fflush(stderr));
    std::abort();
}
