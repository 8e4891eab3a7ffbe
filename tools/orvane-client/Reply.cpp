#include "Reply.h"

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

} // namespace OrvaneClient
