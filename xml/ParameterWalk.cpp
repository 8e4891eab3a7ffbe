#include "ParameterWalk.h"

#include <QXmlStreamWriter>

#include <algorithm>

namespace OrvaneInterface {

namespace {

/// The writer makes an escaped copy of what it is given, which can be six times as long.
void writeInPieces(QXmlStreamWriter& writer, QStringView text)
{
    constexpr qsizetype usualLength = 4096;
    while (!text.isEmpty()) {
        qsizetype length = std::min(text.size(), usualLength);
        if (length < text.size() && text[length - 1].isHighSurrogate())
            ++length;
        writer.writeCharacters(text.first(length).toString());
        text = text.sliced(length);
    }
}

} // namespace

QString captureParamValue(QXmlStreamReader& reader, ElementPath& path, qsizetype room)
{
    QString content;
    content.reserve(room); // copying it for room would hold it twice
    QXmlStreamWriter writer(&content);
    path.enter(path.node());
    while (!reader.hasError()) {
        reader.readNext();
        if (reader.isStartElement()) {
            if (reader.name() == ParamValueName)
                break;
            path.enter(path.node());
            writer.writeStartElement(reader.name().toString());
            writer.writeAttributes(reader.attributes());
        } else if (reader.isEndElement()) {
            if (reader.name() == ParamValueName)
                break;
            path.leave();
            writer.writeEndElement();
        } else if (reader.isCharacters()) {
            writeInPieces(writer, reader.text());
        }
    }
    return content;
}

} // namespace OrvaneInterface
