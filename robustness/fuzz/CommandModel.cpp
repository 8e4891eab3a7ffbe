#include "CommandModel.h"

#include "DocumentLimits.h"

#include <QXmlStreamWriter>

#include <algorithm>

CommandModel::CommandModel(const QString& document)
{
    readTokens(document);
    if (!skipToRoot())
        return;
    name = tokens[position++].name;
    if (name.contains(u':'))
        name = name.section(u':', 1, 1);
    readContent(QString());
}

void CommandModel::readTokens(const QString& document)
{
    // Entities grow; and in a comment or the like there may be what looks like a start tag.
    mayBeTooMuch = document.contains(QLatin1String("<!")) || document.lastIndexOf(QLatin1String("<?")) > 0;

    QXmlStreamReader reader(document);
    qsizetype depth = 0; // of the root element
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType type = reader.readNext();
        tokens.append({type, reader.name().toString(), reader.text().toString(), reader.attributes()});
        if (type == QXmlStreamReader::StartElement)
            checkLimits(reader, depth++);
        else if (type == QXmlStreamReader::EndElement)
            --depth;
    }
    wellFormed = !reader.hasError();
}

void CommandModel::checkLimits(const QXmlStreamReader& element, qsizetype depth)
{
    const QXmlStreamAttributes attributes = element.attributes();
    const qsizetype declarations = element.namespaceDeclarations().size();
    if (attributes.size() + declarations > MaximumAttributes)
        isTooMuch = true;
    // Written into a "paramvalue", an attribute of a namespace brings the namespace along each time.
    if (std::any_of(
            attributes.begin(), attributes.end(), [](const auto& each) { return !each.namespaceUri().isEmpty(); }))
        mayBeTooMuch = true;

    if (depth <= MaximumDepth && (depth <= DepthWithoutNamespaceCheck || declarations <= MaximumNamespaceDeclarations))
        return;
    if (element.name() == QLatin1String("paramvalue"))
        mayBeTooMuch = true; // looked at only where it is not captured
    else
        isTooMuch = true;
}

bool CommandModel::skipToRoot()
{
    while (position < tokens.size() && !at(QXmlStreamReader::StartElement))
        ++position;
    return position < tokens.size();
}

bool CommandModel::at(QXmlStreamReader::TokenType type) const
{
    return position < tokens.size() && tokens[position].type == type;
}

bool CommandModel::atParamValue() const
{
    return tokens[position].name == QLatin1String("paramvalue");
}

/// From the first token of an element's content to the token behind its end tag.
void CommandModel::readContent(const QString& path)
{
    while (position < tokens.size()) {
        if (at(QXmlStreamReader::StartElement)) {
            if (atParamValue())
                readParamValue(path);
            else
                readElement(path);
            continue;
        }
        const bool end = at(QXmlStreamReader::EndElement);
        ++position;
        if (end)
            return;
    }
}

void CommandModel::readElement(const QString& parentPath)
{
    const Token element = tokens[position++];
    names.insert(element.name);
    QString path = parentPath.isEmpty() ? element.name : parentPath + u'/' + element.name;
    const int count = occurrences[path]++;
    if (count > 0)
        path += QString::number(count);
    for (const QXmlStreamAttribute& attribute : element.attributes) {
        names.insert(attribute.name().toString());
        store(path + u'/' + attribute.name().toString(), attribute.value().toString());
    }

    if (at(QXmlStreamReader::Characters)) {
        store(path, tokens[position++].text);
    } else if (at(QXmlStreamReader::StartElement) && tokens[position].attributes.isEmpty()) {
        names.insert(tokens[position].name);
        const QString childPath = path + u'/' + tokens[position++].name; // not counted
        if (at(QXmlStreamReader::Characters))
            store(childPath, tokens[position++].text);
        readContent(childPath);
    }
    readContent(path);
}

/// Its elements add nothing to the path; another "paramvalue" inside ends what is stored, not the walk.
void CommandModel::readParamValue(const QString& path)
{
    QString content;
    int open = 1;
    {
        QXmlStreamWriter writer(&content);
        while (++position < tokens.size()) {
            if (at(QXmlStreamReader::StartElement)) {
                if (atParamValue())
                    break;
                ++open;
                writer.writeStartElement(tokens[position].name);
                writer.writeAttributes(tokens[position].attributes);
            } else if (at(QXmlStreamReader::EndElement)) {
                --open;
                if (atParamValue())
                    break;
                writer.writeEndElement();
            } else if (at(QXmlStreamReader::Characters)) {
                writer.writeCharacters(tokens[position].text);
            }
        }
    }
    if (!content.isEmpty())
        store(QStringLiteral("paramvalue"), content);
    if (at(QXmlStreamReader::EndElement)) {
        ++position;
        return;
    }
    for (; open > 0; --open)
        readContent(path);
}

void CommandModel::store(const QString& key, const QString& value)
{
    parameters.insert(key, value);
    everStored.insert({key, value});
}
