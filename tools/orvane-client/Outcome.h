#pragma once

#include <QString>

#include <chrono>
#include <optional>
#include <utility>

namespace OrvaneClient {

/// A value, or one line that tells a user why there is none.
template <typename T> class Result {
public:
    Result(T value) // NOLINT(google-explicit-constructor): functions return the value itself
        : content(std::move(value))
    {
    }
    static Result failure(const QString& reason)
    {
        Result result;
        result.reason = reason;
        return result;
    }

    explicit operator bool() const { return content.has_value(); }
    const T& operator*() const { return *content; }
    const T* operator->() const { return &*content; }
    const QString& error() const { return reason; }

private:
    Result() = default;

    std::optional<T> content;
    QString reason;
};

/// What a script learns from the program's end. The numbers are documented in --help and stay as they are.
enum class ExitStatus {
    Success = 0,
    UsageError = 1,
    Rejected = 2,
    NoAnswer = 3,
    NoConnection = 4,
    BadAnswer = 5, ///< an answer came, and it is no well-formed XML, or too much to read
    OutputFailed = 6, ///< what came could not be written
    NotLoggedIn = 7, ///< the host does not accept the account
    NotAsItShouldBe = 8, ///< a check has found something
};

/// In seconds, as --timeout takes them.
inline QString durationText(std::chrono::milliseconds duration)
{
    return QStringLiteral("%1 s").arg(std::chrono::duration<double>(duration).count());
}

} // namespace OrvaneClient
