#include "ReplyFormat.h"

#include "CommandCatalogue.h"
#include "Reply.h"
#include "TerminalText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// Writes the tokens of a document with line ends and blanks of its own between them. The depth to which it indents is
/// bounded, or a document of many levels would become far longer than it is.
class IndentedCopy {
    Q_DISABLE_COPY_MOVE(IndentedCopy)

public:
    explicit IndentedCopy(QByteArray& text)
        : writer(&text)
    {
    }
    void add(QXmlStreamReader& reader);

private:
    void beginLine();

    QXmlStreamWriter writer;
    qsizetype depth = 0;
    bool isFirst = true;
    bool isBehindText = false; ///< which a line end would change
    bool isBehindStart = false;
};

void IndentedCopy::add(QXmlStreamReader& reader)
{
    const bool isText = reader.isCharacters() || reader.isEntityReference();
    if (reader.isWhitespace() && !reader.isCDATA())
        return; // indentation of its own, which would stand beside ours
    if (reader.isEndElement())
        --depth;
    if (!isText && !isBehindText && !(reader.isEndElement() && isBehindStart))
        beginLine();
    if (reader.isStartElement()) {
        ++depth;
        writer.writeStartElement(reader.qualifiedName().toString());
        writer.writeAttributes(reader.attributes());
    } else if (!reader.isStartDocument() && !reader.isEndDocument()
        && reader.tokenType() != QXmlStreamReader::Invalid) {
        writer.writeCurrentToken(reader);
    }
    isBehindText = isText;
    isBehindStart = reader.isStartElement();
}

void IndentedCopy::beginLine()
{
    constexpr qsizetype width = 2;
    constexpr qsizetype deepest = 16;
    if (!std::exchange(isFirst, false))
        writer.writeCharacters(u'\n' + QString(std::min(depth, deepest) * width, u' '));
}

bool canBeRead(const Reply& reply)
{
    return reply.kind() != Reply::Kind::NotXml && reply.kind() != Reply::Kind::TooMuch;
}

QByteArray indented(const Reply& reply)
{
    if (!canBeRead(reply))
        return reply.raw();
    QXmlStreamReader reader(QString::fromUtf8(reply.raw()));
    reader.setNamespaceProcessing(false); // keeps the prefixes of the message, instead of new ones
    QByteArray text;
    IndentedCopy copy(text);
    while (!reader.atEnd()) {
        reader.readNext();
        copy.add(reader);
    }
    return text.trimmed();
}

QString nameOf(const QXmlStreamReader& reader)
{
    return reader.attributes().value("name"_L1).toString();
}

/// The attributes that the host has given, by the protocol's own names, and the names of the tracks.
QJsonArray recordersOf(const Reply& reply)
{
    QJsonArray recorders;
    QXmlStreamReader reader(reply.raw());
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        QJsonObject recorder;
        for (const QXmlStreamAttribute& attribute : reader.attributes())
            recorder.insert(attribute.name(), attribute.value().toString());
        QJsonArray tracks;
        for (; reader.readNextStartElement(); reader.skipCurrentElement())
            tracks.append(nameOf(reader));
        recorder["tracks"_L1] = tracks;
        recorders.append(recorder);
    }
    return recorders;
}

QJsonArray presetsOf(const Reply& reply)
{
    QJsonArray presets;
    QXmlStreamReader reader(reply.raw());
    reader.readNextStartElement();
    for (; reader.readNextStartElement(); reader.skipCurrentElement())
        presets.append(nameOf(reader));
    return presets;
}

/// What a long acceptance has besides its command.
void addSplitAndTag(QJsonObject& object, const Reply& reply)
{
    QXmlStreamReader reader(reply.raw());
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        const QString name = reader.name().toString();
        const QString text = reader.readElementText(QXmlStreamReader::SkipChildElements);
        bool isNumber = false;
        const int number = text.toInt(&isNumber);
        if (name == "splitid"_L1 && isNumber)
            object["split"_L1] = number;
        if (name == "commandtag"_L1)
            object["tag"_L1] = text;
    }
}

QByteArray namesOf(const Reply& reply)
{
    QByteArray lines;
    const auto add = [&lines](const QString& name) {
        for (const QChar character : name)
            lines += visible(character).toUtf8(); // a line for each name, whatever is in it
        lines += '\n';
    };
    if (canBeRead(reply) && reply.rootName() == RecorderList) {
        for (const auto& recorder : recordersOf(reply))
            add(recorder.toObject()["name"_L1].toString());
    } else if (canBeRead(reply) && reply.rootName() == PresetsList) {
        for (const auto& preset : presetsOf(reply))
            add(preset.toString());
    } else {
        lines = reply.raw() + '\n';
    }
    return lines;
}

} // namespace

QJsonObject jsonObject(const Reply& reply)
{
    QJsonObject object;
    if (!canBeRead(reply)) {
        object = {{"reply"_L1, "unreadable"_L1}, {"reason"_L1, reply.reason()}};
        object["document"_L1] = textOfBytes(reply.raw());
    } else if (reply.kind() == Reply::Kind::Accepted) {
        object = {{"reply"_L1, "accepted"_L1}, {"command"_L1, reply.commandName()}};
        addSplitAndTag(object, reply);
    } else if (reply.kind() == Reply::Kind::Rejected) {
        object = {{"reply"_L1, "rejected"_L1}, {"command"_L1, reply.commandName()}, {"reason"_L1, reply.reason()}};
    } else if (reply.rootName() == RecorderList) {
        object = {{"reply"_L1, "recorders"_L1}, {"recorders"_L1, recordersOf(reply)}};
    } else if (reply.rootName() == PresetsList) {
        object = {{"reply"_L1, "presets"_L1}, {"presets"_L1, presetsOf(reply)}};
    } else if (reply.rootName() == RefreshFinishedNotice) {
        object = {{"reply"_L1, "refreshFinished"_L1}};
    } else {
        object = {{"reply"_L1, "other"_L1}, {"document"_L1, QString::fromUtf8(reply.raw())}};
    }
    return object;
}

QByteArray formatted(const Reply& reply, ReplyFormat format)
{
    switch (format) {
    case ReplyFormat::Raw:
        return reply.raw() + '\n';
    case ReplyFormat::Indented:
        return indented(reply) + '\n';
    case ReplyFormat::Json:
        return QJsonDocument(jsonObject(reply)).toJson(QJsonDocument::Compact) + '\n';
    case ReplyFormat::Names:
        return namesOf(reply);
    case ReplyFormat::Nothing:
        return {};
    }
    return {};
}

} // namespace OrvaneClient
