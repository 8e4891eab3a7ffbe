#pragma once

#include <QString>

#include <cstdio>
#include <cstdlib>

/// Ends the program with \a what on the standard error when \a holds is false: that is how a target reports a finding.
inline void require(bool holds, const QString& what)
{
    if (holds)
        return;
    static_cast<void>(std::fprintf(stderr, "FINDING: %s\n", qPrintable(what)));
    static_cast<void>(std::fflush(stderr));
    std::abort();
}
