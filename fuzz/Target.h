#pragma once

#include <cstddef>
#include <cstdint>

// The entry that every target defines, by the names that the fuzz engine calls. A finding ends the program.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
