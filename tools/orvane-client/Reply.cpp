#include "Reply.h"

#include "CommandCatalogue.h"
#include "DocumentMeasure.h"

#include <QStringDecoder>
#include <QXmlStreamReader>

#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

Reply::Reply(QByteArray message)
    : message(std::move(message))
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString document = decoder(this->message);
    if (decoder.hasError()) {
        replyKind = Kind::NotXml;
        why = u"it is no UTF-8"_s;
        return;
    }
    read(document);
}

/// Text inside elements inside a child counts as the child's.
void Reply::read(const QString& document)
{
    const OrvaneInterface::DocumentMeasure measure = OrvaneInterface::measureDocument(document);
    QXmlStreamReader reader(document.left(measure.readableLength));
    reader.readNextStartElement();
    root = reader.name().toString();
    QString child;
    QString text;
    for (int depth = 1; !reader.atEnd();) {
        reader.readNext();
        if (reader.isStartElement() && ++depth == 2) {
            child = reader.name().toString();
            text.clear();
        } else if (reader.isCharacters() && depth >= 2) {
            text += reader.text();
        } else if (reader.isEndElement() && --depth == 1) {
            noteChild(child, text);
        }
    }

    if (!measure.excess.isNull() && reader.error() != QXmlStreamReader::NotWellFormedError) { // or an error came first
        replyKind = Kind::TooMuch;
        why = measure.excess;
    } else if (reader.hasError()) {
        replyKind = Kind::NotXml;
        why = message.isEmpty() ? u"it is empty"_s : reader.errorString().simplified();
    } else if (root == "commandAccepted"_L1) {
        replyKind = Kind::Accepted;
    } else if (root == "commandRejected"_L1) {
        replyKind = Kind::Rejected;
    }
}

/// The long acceptance names its command in an element "command", the other two in "commandname".
void Reply::noteChild(const QString& name, const QString& text)
{
    if (name == "command"_L1 || name == "commandname"_L1)
        command = text;
    else if (name == "reason"_L1)
        why = text;
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
    case Reply::Kind::TooMuch:
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
