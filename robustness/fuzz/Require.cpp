#include "Require.h"

#include <cstdio>
#include <cstdlib>

void require(bool holds, const QString& what)
{
    if (holds)
        return;
    std::fprintf(stderr, "FINDING: %s\n", qPrintable(what));
    std::fflush(stderr);
    std::abort();
}
