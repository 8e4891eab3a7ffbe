#include "ParameterWalk.h"

#include <QXmlStreamWriter>

#include <algorithm>

namespace OrvaneInterface {

namespace {

/// The writer makes an escaped copy of what it is given, which can be six times as long. Writing an empty text, such as
/// that of an empty CDATA section, ends the start tag before it.
void writeInPieces(QXmlStreamWriter& writer, QStringView text)
{
    constexpr qsizetype usualLength = 4096;
    do {
        qsizetype length = std::min(text.size(), usualLength);
        if (length < text.size() && text[length - 1].isHighSurrogate())
            ++length;
        writer.writeCharacters(text.first(length).toString());
        text = text.sliced(length);
    } while (!text.isEmpty());
}

} // namespace

QString captureParamValue(QXmlStreamReader& reader, ElementPath& path, qsizetype room)
{
    QString content;
    content.reserve(room);
    QXmlStreamWriter writer(&content);
    path.enter(path.node());
    while (!reader.hasError()) {
        reader.readNext();
        const bool isLast = reader.name() == ParamValueName;
        if (reader.isStartElement()) {
            writer.writeStartElement(reader.name().toString());
            writer.writeAttributes(reader.attributes());
            if (!isLast)
                path.enter(path.node());
        } else if (reader.isEndElement() && !isLast) {
            path.leave();
            writer.writeEndElement();
        } else if (reader.isCharacters()) {
            writeInPieces(writer, reader.text());
        }
        if (isLast)
            break;
    }
    return content;
}

} // namespace OrvaneInterface
