#include "Reply.h"

#include "Console.h"
#include "DocumentMeasure.h"
#include "Protocol.h"

#include <QRegularExpression>
#include <QStringDecoder>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

QList<QByteArray> MessageCutter::add(const QByteArray& bytes)
{
    constexpr qsizetype length = OrvaneInterface::MessageTerminator.size();
    // The last three bytes may begin a terminator; earlier ones are not searched again.
    qsizetype searched = std::max<qsizetype>(0, buffer.size() - (length - 1));
    buffer += bytes;
    QList<QByteArray> messages;
    qsizetype start = 0;
    for (qsizetype end = 0; (end = buffer.indexOf(OrvaneInterface::MessageTerminator.data(), searched)) >= 0;) {
        messages.append(buffer.mid(start, end - start));
        searched = start = end + length;
    }
    buffer.remove(0, start);
    return messages;
}

namespace {

/// A list with its names escaped, since hosts do not escape them. A name that contains markup of the list itself is
/// misread, as by any reader.
QString withEscapedNames(const QString& list)
{
    static const QRegularExpression values(
        uR"((?s)(?<= name="| ip="| usename="| password="| maxnumchannels=")((?:(?! name="| ip=").)*?))"
        R"("(?= />(?=<preset |<track |</)| (?:ip|usename|password|maxnumchannels)="|>(?=<track |</)))"_s);
    QString escaped;
    qsizetype end = 0;
    for (const QRegularExpressionMatch& match : values.globalMatch(list)) {
        escaped += list.mid(end, match.capturedStart() - end) + match.captured(1).toHtmlEscaped();
        end = match.capturedEnd(1);
    }
    return escaped + list.mid(end);
}

} // namespace

Reply::Reply(const QByteArray& message)
    : raw(message)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString document = decoder(message);
    reason = u"it is not UTF-8"_s;
    if (decoder.hasError())
        return;
    read(document);
    if (kind != Kind::NotXml || !isList())
        return;
    const QString why = reason;
    read(withEscapedNames(document));
    isTextList = kind == Kind::Other;
    kind = isTextList ? Kind::Other : Kind::NotXml;
    reason = why;
}

/// The text of a child includes that of its descendants.
void Reply::read(const QString& document)
{
    const OrvaneInterface::DocumentMeasure measure = OrvaneInterface::measureDocument(document);
    QXmlStreamReader reader(document.left(measure.readableLength));
    QString text;
    QJsonObject entry;
    QJsonArray tracks;
    entries = {};
    for (int depth = 0; !reader.atEnd();) {
        reader.readNext();
        if (reader.isStartElement() && ++depth == 1) {
            root = reader.name().toString();
        } else if (reader.isStartElement() && depth == 2) {
            text.clear();
            for (const QXmlStreamAttribute& attribute : reader.attributes())
                entry.insert(attribute.name(), attribute.value().toString());
        } else if (reader.isStartElement() && depth == 3) {
            tracks.append(reader.attributes().value("name"_L1).toString());
        } else if (reader.isCharacters() && depth >= 2) {
            text += reader.text();
        } else if (reader.isEndElement() && depth-- == 2) {
            texts[reader.name().toString()] = text;
            if (root == RecorderList)
                entry["tracks"_L1] = std::exchange(tracks, {});
            if (isList())
                entries.append(std::exchange(entry, {}));
        }
    }

    kind = root == "commandAccepted"_L1 ? Kind::Accepted : root == "commandRejected"_L1 ? Kind::Rejected : Kind::Other;
    command = texts.value(u"command"_s, texts.value(u"commandname"_s)); // "command" in the long acceptance
    reason = texts.value(u"reason"_s);
    if (!measure.excess.isNull() && reader.error() != QXmlStreamReader::NotWellFormedError) { // and no error came first
        kind = Kind::TooMuch;
        reason = measure.excess;
    } else if (reader.hasError()) {
        kind = Kind::NotXml;
        reason = raw.isEmpty() ? u"it is empty"_s : reader.errorString().simplified();
    }
}

QJsonObject Reply::json() const
{
    if (kind == Kind::NotXml || kind == Kind::TooMuch)
        return {{"reply"_L1, "unreadable"_L1}, {"reason"_L1, reason}, {"document"_L1, textOfBytes(raw)}};
    if (kind == Kind::Accepted) {
        QJsonObject object {{"reply"_L1, "accepted"_L1}, {"command"_L1, command}};
        bool isNumber = false;
        const int split = texts.value(u"splitid"_s).toInt(&isNumber);
        if (isNumber)
            object["split"_L1] = split;
        if (texts.contains(u"commandtag"_s))
            object["tag"_L1] = texts.value(u"commandtag"_s);
        return object;
    }
    if (kind == Kind::Rejected)
        return {{"reply"_L1, "rejected"_L1}, {"command"_L1, command}, {"reason"_L1, reason}};
    if (root == RecorderList)
        return {{"reply"_L1, "recorders"_L1}, {"recorders"_L1, entries}};
    if (root == PresetsList)
        return {{"reply"_L1, "presets"_L1}, {"presets"_L1, QJsonArray::fromStringList(names().value(u"presetname"_s))}};
    if (root == RefreshFinishedNotice)
        return {{"reply"_L1, "refreshFinished"_L1}};
    return {{"reply"_L1, "other"_L1}, {"document"_L1, QString::fromUtf8(raw)}};
}

QMap<QString, QStringList> Reply::names() const
{
    QMap<QString, QStringList> names;
    if (kind != Kind::Other || !isList())
        return names;
    QStringList& listed = names[root == PresetsList ? u"presetname"_s : u"recorder"_s];
    for (const auto& entry : entries) {
        listed.append(entry["name"_L1].toString());
        if (root == RecorderList)
            names[u"track"_s] += entry["tracks"_L1].toVariant().toStringList();
    }
    return names;
}

namespace {

/// Unchanged if it is nested too deep, as each level lengthens its lines, or if an element declares a prefix twice: an
/// error for a reader that treats declarations as attributes.
QByteArray indented(const QByteArray& message)
{
    QXmlStreamReader reader(QString::fromUtf8(message));
    reader.setNamespaceProcessing(false); // keeps the message's own prefixes
    QByteArray text;
    QXmlStreamWriter writer(&text);
    writer.setAutoFormatting(true);
    writer.setAutoFormattingIndent(2);
    for (int depth = 0; !reader.atEnd();) {
        constexpr int deepest = 16;
        reader.readNext();
        depth += reader.isStartElement() ? 1 : reader.isEndElement() ? -1 : 0;
        if (depth > deepest)
            return message;
        const bool isBlank = reader.isWhitespace() && !reader.isCDATA();
        if (reader.isStartElement()) {
            writer.writeStartElement(reader.qualifiedName().toString());
            writer.writeAttributes(reader.attributes());
        } else if (!isBlank && !reader.isStartDocument() && !reader.hasError()) {
            writer.writeCurrentToken(reader);
        }
    }
    return reader.hasError() ? message : text.trimmed();
}

} // namespace

QByteArray Reply::lines(bool isIndented) const
{
    const bool canBeRead = kind != Kind::NotXml && kind != Kind::TooMuch && !isTextList;
    return (canBeRead && isIndented ? indented(raw) : raw) + '\n';
}

std::optional<Outcome> judge(const Reply& reply, const CommandRequest& request)
{
    using Kind = Reply::Kind;
    const QString& root = request.answerRoot;
    if (reply.kind == Kind::NotXml || reply.kind == Kind::TooMuch)
        return Outcome {ExitStatus::BadAnswer,
            u"the answer is %1: %2"_s.arg(
                reply.kind == Kind::NotXml ? u"not well-formed XML"_s : u"too expensive to read"_s, reply.reason)};
    if (reply.kind != Kind::Other && !request.command.isEmpty() && reply.command != request.command)
        return std::nullopt;
    if (reply.kind == Kind::Rejected)
        return Outcome {ExitStatus::Rejected, u"%1 was rejected: %2"_s.arg(reply.command, reply.reason)};
    const bool isAwaited = root.isEmpty() ? reply.root != RefreshFinishedNotice : reply.root == root;
    return isAwaited ? std::optional(Outcome()) : std::nullopt;
}

} // namespace OrvaneClient
