#pragma once

#include <QString>

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

} // namespace OrvaneClient
