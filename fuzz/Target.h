#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The entry point of every target, with the name that the fuzz engine calls. A finding ends the program.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/// Reports a finding if \a holds is false: prints \a what to standard error and ends the program.
inline void require(bool holds, const QString& what)
{
    if (holds)
        return;
    static_cast<void>(std::fprintf(stderr, "FINDING: %s\n", qPrintable(what)));
    static_cast<void>(std::fflush(stderr));
    std::abort();
}
