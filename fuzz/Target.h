#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The entry that every target defines, by the names that the fuzz engine calls. A finding ends the program.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/// Ends the program with \a what on the standard error when \a holds is false: that is how a target reports a finding.
inline void require(bool holds, const QString& what)
{
    if (holds)
        return;
    static_cast<void>(std::fprintf(stderr, "FINDING: %s\n", qPrintable(what)));
    static_cast<void>(std::fflush(stderr));
    std::abort();
}
