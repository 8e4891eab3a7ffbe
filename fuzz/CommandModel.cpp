#include "CommandModel.h"

#include <QXmlStreamWriter>

#include <algorithm>

using namespace Qt::StringLiterals;

CommandModel::CommandModel(const QString& document)
    : reader(document)
{
    while (!reader.isStartElement() && !reader.atEnd())
        readNext();
    if (reader.isStartElement()) {
        name = reader.name().toString();
        readNext();
    }
    while (!reader.atEnd()) {
        if (reader.isStartElement()) {
            if (atParamValue())
                readParamValue();
            else
                readElement();
            continue;
        }
        if (reader.isEndElement() && !outerPaths.isEmpty())
            path = outerPaths.takeLast();
        readNext();
    }
    wellFormed = !reader.hasError();
}

void CommandModel::readNext()
{
    const QXmlStreamReader::TokenType type = reader.readNext();
    if (type == QXmlStreamReader::EndElement)
        --depth;
    if (type != QXmlStreamReader::StartElement)
        return;
    const qsizetype declared = reader.namespaceDeclarations().size();
    mostAttributes = std::max(mostAttributes, reader.attributes().size() + declared);
    declarations += declared;
    deepest = std::max(deepest, depth++);
}

void CommandModel::enter(const QString& childPath)
{
    outerPaths.append(path);
    path = childPath;
}

void CommandModel::readElement()
{
    enter(below(reader.name().toString()));
    if (const int count = occurrences[path]++; count > 0)
        path += QString::number(count);
    const QXmlStreamAttributes attributes = reader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes)
        parameters.insert(path + u'/' + attribute.name().toString(), attribute.value().toString());

    readNext();
    if (reader.isStartElement() && reader.attributes().isEmpty()) {
        enter(below(reader.name().toString())); // not counted
        readNext();
    }
    if (reader.isCharacters()) {
        parameters.insert(path, reader.text().toString());
        readNext();
    }
}

/// Its elements add nothing to the path; another "paramvalue" inside ends what is stored, not the walk.
void CommandModel::readParamValue()
{
    QString content;
    QXmlStreamWriter writer(&content);
    enter(path);
    for (readNext(); !reader.hasError() && !atParamValue(); readNext()) {
        if (reader.isStartElement()) {
            enter(path);
            writer.writeStartElement(reader.name().toString());
            writer.writeAttributes(reader.attributes());
        } else if (reader.isEndElement()) {
            path = outerPaths.takeLast();
            writer.writeEndElement();
        } else if (reader.isCharacters()) {
            writer.writeCharacters(reader.text().toString());
        }
    }
    if (!content.isEmpty())
        parameters.insert(u"paramvalue"_s, content);
}
