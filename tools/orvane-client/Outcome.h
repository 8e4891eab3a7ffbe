#pragma once

#include <QString>

#include <chrono>

namespace OrvaneClient {

/// The exit status, for scripts. The manual page documents the numbers; they must not change.
enum class ExitStatus {
    Success = 0,
    UsageError = 1,
    Rejected = 2,
    NoAnswer = 3,
    NoConnection = 4,
    BadAnswer = 5, ///< the answer is not well-formed XML, or too expensive to read
    OutputFailed = 6,
    NotLoggedIn = 7, ///< the host does not accept the account
    NotAsItShouldBe = 8, ///< check has found an error
};

/// The result of an operation, and one line for the user. Thrown unless it is Success.
struct Outcome {
    ExitStatus status = ExitStatus::Success;
    QString problem = {};
    bool mayPass = false; ///< the host cannot be reached now, but perhaps later
};

[[noreturn]] inline void refuse(const QString& problem)
{
    throw Outcome {ExitStatus::UsageError, problem};
}

/// Calls a function that may throw an Outcome, and returns the result.
template <typename Function> Outcome attempt(const Function& function)
{
    try {
        function();
        return {};
    } catch (const Outcome& failure) {
        return failure;
    }
}

/// In seconds, as --timeout takes them.
inline QString durationText(std::chrono::milliseconds duration)
{
    return QStringLiteral("%1 s").arg(std::chrono::duration<double>(duration).count());
}

} // namespace OrvaneClient
