#include "Reply.h"

#include "CommandCatalogue.h"

#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

void copyToken(QXmlStreamReader& reader, QXmlStreamWriter& writer)
{
    switch (reader.tokenType()) {
    case QXmlStreamReader::StartElement:
        writer.writeStartElement(reader.qualifiedName().toString());
        writer.writeAttributes(reader.attributes());
        return;
    case QXmlStreamReader::Characters:
        if (reader.isWhitespace())
            return; // indentation of its own, which would stand beside ours
        [[fallthrough]];
    case QXmlStreamReader::EndElement:
    case QXmlStreamReader::Comment:
    case QXmlStreamReader::DTD:
    case QXmlStreamReader::EntityReference:
    case QXmlStreamReader::ProcessingInstruction:
        writer.writeCurrentToken(reader);
        return;
    default:
        return;
    }
}

} // namespace

Reply::Reply(QByteArray message)
    : message(std::move(message))
{
    read();
}

void Reply::read()
{
    QXmlStreamReader reader(message);
    reader.readNextStartElement();
    root = reader.name().toString();
    QString reasonText;
    for (int depth = 1; !reader.atEnd();) {
        reader.readNext();
        if (reader.isEndElement())
            --depth;
        if (!reader.isStartElement())
            continue;
        ++depth;
        if (depth != 2)
            continue;
        // The long acceptance names its command in an element "command", the other two in "commandname".
        const bool namesCommand = reader.name() == "command"_L1 || reader.name() == "commandname"_L1;
        const bool givesReason = reader.name() == "reason"_L1;
        if (!namesCommand && !givesReason)
            continue;
        QString& text = namesCommand ? command : reasonText;
        text = reader.readElementText(QXmlStreamReader::IncludeChildElements);
        --depth;
    }

    if (reader.hasError()) {
        replyKind = Kind::NotXml;
        why = message.isEmpty() ? u"it is empty"_s : reader.errorString().simplified();
        return;
    }
    why = reasonText;
    if (root == "commandAccepted"_L1)
        replyKind = Kind::Accepted;
    else if (root == "commandRejected"_L1)
        replyKind = Kind::Rejected;
}

QByteArray Reply::indented() const
{
    if (replyKind == Kind::NotXml)
        return message;
    QXmlStreamReader reader(message);
    reader.setNamespaceProcessing(false); // keeps the prefixes of the message, instead of new ones
    QByteArray text;
    QXmlStreamWriter writer(&text);
    writer.setAutoFormatting(true);
    writer.setAutoFormattingIndent(2);
    while (!reader.atEnd()) {
        reader.readNext();
        copyToken(reader, writer);
    }
    return text.trimmed();
}

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
