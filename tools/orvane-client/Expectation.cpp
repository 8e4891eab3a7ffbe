#include "Expectation.h"

#include "CommandCatalogue.h"
#include "Reply.h"

using namespace Qt::StringLiterals;

namespace OrvaneClient {

Expectation Expectation::answerOf(const QString& command)
{
    const KnownCommand* const known = findKnownCommand(command);
    if (known && known->answer == AnswerKind::Never)
        return nothing();
    Expectation expectation;
    expectation.command = command;
    if (!known)
        return expectation;
    expectation.awaitedRoot = known->answerRoot;
    expectation.noticeOnly = known->answer == AnswerKind::LaterNotice;
    return expectation;
}

Expectation Expectation::notice(const QString& command, const QString& rootName)
{
    Expectation expectation;
    expectation.command = command;
    expectation.awaitedRoot = rootName;
    expectation.noticeOnly = true;
    return expectation;
}

Expectation Expectation::nothing()
{
    Expectation expectation;
    expectation.none = true;
    return expectation;
}

QString Expectation::description() const
{
    if (noticeOnly)
        return u"%1 after %2"_s.arg(awaitedRoot, command.isEmpty() ? u"it"_s : command);
    return command.isEmpty() ? u"answer"_s : u"answer to %1"_s.arg(command);
}

std::optional<ExitStatus> Expectation::judge(const Reply& reply) const
{
    if (none)
        return std::nullopt;
    switch (reply.kind()) {
    case Reply::Kind::NotXml:
        return ExitStatus::BadAnswer;
    case Reply::Kind::Rejected:
        return concerns(reply) ? std::optional(ExitStatus::Rejected) : std::nullopt;
    case Reply::Kind::Accepted:
        return isAwaited(reply) && concerns(reply) ? std::optional(ExitStatus::Success) : std::nullopt;
    case Reply::Kind::Other:
        return isAwaited(reply) ? std::optional(ExitStatus::Success) : std::nullopt;
    }
    return std::nullopt;
}

/// An acknowledgement of another command is a late one, which was given up before.
bool Expectation::concerns(const Reply& acknowledgement) const
{
    return command.isEmpty() || acknowledgement.commandName() == command;
}

bool Expectation::isAwaited(const Reply& reply) const
{
    if (awaitedRoot.isEmpty())
        return reply.rootName() != RefreshFinishedNotice;
    return reply.rootName() == awaitedRoot;
}

} // namespace OrvaneClient
