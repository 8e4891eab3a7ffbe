#pragma once

namespace OrvaneClient {

/// What a script learns from the program's end. The numbers are documented in --help and stay as they are.
enum class ExitStatus {
    Success = 0,
    UsageError = 1,
    Rejected = 2,
    NoAnswer = 3,
    NoConnection = 4,
    BadAnswer = 5, ///< an answer came, and it is no well-formed XML
};

} // namespace OrvaneClient
