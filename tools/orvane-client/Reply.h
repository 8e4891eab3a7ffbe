#pragma once

#include "Outcome.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace OrvaneClient {

/// One message of the host, and what it says.
class Reply {
public:
    enum class Kind {
        Accepted,
        Rejected,
        Other, ///< a list, a notice, or an answer that the host wrote itself
        NotXml,
        TooMuch, ///< a document that would take far more than its length to read; it is printed, and not read
    };

    explicit Reply(QByteArray message);

    Kind kind() const { return replyKind; }
    /// Local name of the root element.
    const QString& rootName() const { return root; }
    /// The command that an acknowledgement names.
    const QString& commandName() const { return command; }
    /// Why a command was rejected, or what keeps the message from being read.
    const QString& reason() const { return why; }

    const QByteArray& raw() const { return message; }

private:
    void read(const QString& document);
    void noteChild(const QString& name, const QString& text);

    QByteArray message;
    Kind replyKind = Kind::Other;
    QString root;
    QString command;
    QString why;
};

/// Which message answers a command. Others, such as the notice for an earlier command, may arrive before it.
class Expectation {
public:
    /// As the protocol has it: the command's own answer, or its notice, or none.
    static Expectation answerOf(const QString& command);
    /// A message with this root element, whatever else comes before it, unless the command is rejected.
    static Expectation notice(const QString& command, const QString& rootName);
    static Expectation nothing();

    bool isNothing() const { return none; }
    /// Whether it comes by itself some time after the command, and not in the place of its answer.
    bool isNotice() const { return noticeOnly; }
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
