#pragma once

#include <QString>

#include <chrono>

namespace OrvaneClient {

/// What a script learns when the program ends. The manual page documents the numbers; they stay as they are.
enum class ExitStatus {
    Success = 0,
    UsageError = 1,
    Rejected = 2,
    NoAnswer = 3,
    NoConnection = 4,
    BadAnswer = 5, ///< an answer came, but it is not well-formed XML, or costs too much to read
    OutputFailed = 6,
    NotLoggedIn = 7, ///< the host does not accept the account
    NotAsItShouldBe = 8, ///< check has found a fault
};

/// How something has ended, and one line for the user. Thrown wherever it is not success.
struct Outcome {
    ExitStatus status = ExitStatus::Success;
    QString problem = {};
    bool mayPass = false; ///< the host cannot be reached now, but perhaps later
};

[[noreturn]] inline void refuse(const QString& problem)
{
    throw Outcome {ExitStatus::UsageError, problem};
}

/// How the function ends, which throws outcomes.
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
