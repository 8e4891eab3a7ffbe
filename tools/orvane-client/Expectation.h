#pragma once

#include "ExitStatus.h"

#include <QString>

#include <optional>

namespace OrvaneClient {

class Reply;

/// Which message answers a command. Others, such as the notice for an earlier command, may arrive before it.
class Expectation {
public:
    /// As the protocol has it: the command's own answer, or its notice, or none.
    static Expectation answerOf(const QString& command);
    /// A message with this root element, whatever else comes before it, unless the command is rejected.
    static Expectation notice(const QString& command, const QString& rootName);
    static Expectation nothing();

    bool isNothing() const { return none; }
    /// What is waited for, for a person.
    QString description() const;

    /// What the message means for the command; nothing when the wait goes on.
    std::optional<ExitStatus> judge(const Reply& reply) const;

private:
    Expectation() = default;
    bool concerns(const Reply& acknowledgement) const;
    bool isAwaited(const Reply& reply) const;

    QString command;
    QString awaitedRoot; ///< empty: any answer but the notice
    bool noticeOnly = false;
    bool none = false;
};

} // namespace OrvaneClient
