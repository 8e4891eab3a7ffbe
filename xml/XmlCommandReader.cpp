#include "XmlCommandReader.h"

#include "ElementPath.h"
#include "ReplyTemplates.h"

#include <QXmlStreamWriter>

XmlCommandReader::XmlCommandReader() = default;
XmlCommandReader::~XmlCommandReader() = default;

bool XmlCommandReader::parseCommand(const QString& text)
{
    document = text;
    xmlReader.addData(text);
    if (readRootElement())
        readParameters();
    return !xmlReader.hasError();
}

bool XmlCommandReader::readRootElement()
{
    while (!xmlReader.isStartElement()) {
        if (xmlReader.atEnd())
            return false;
        xmlReader.readNext();
    }

    // The local name of a well-formed root holds no colon.
    rootName = xmlReader.name().toString();
    if (rootName.contains(u':'))
        rootName = rootName.section(u':', 1, 1);
    xmlReader.readNext();
    return true;
}

void XmlCommandReader::readParameters()
{
    // Stops at the end of the document: reading past it would be reported as an error.
    ElementPath path;
    while (!xmlReader.atEnd()) {
        if (xmlReader.isStartElement()) {
            if (isParamValue())
                captureParamValue(path);
            else
                readElement(path);
            continue;
        }
        if (xmlReader.isEndElement())
            path.leave();
        xmlReader.readNext();
    }
}

void XmlCommandReader::readElement(ElementPath& path)
{
    path.enter(xmlReader.name());
    int& count = occurrenceCounts[path.key(u"index")];
    if (count > 0)
        path.appendOccurrence(count);
    ++count;

    const QXmlStreamAttributes attributes = xmlReader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes)
        parameters.insert(path.key(attribute.name()), attribute.value().toString());

    readElementText(path);
}

void XmlCommandReader::readElementText(ElementPath& path)
{
    xmlReader.readNext();
    if (xmlReader.isStartElement() && xmlReader.attributes().isEmpty()) {
        // Not counted, and not captured where it is a "paramvalue". A child with attributes is left to the walk.
        path.enter(xmlReader.name());
        xmlReader.readNext();
    }
    if (!xmlReader.isCharacters())
        return;
    parameters.insert(path.text(), xmlReader.text().toString());
    xmlReader.readNext();
}

/// Ends at the end tag of the element, or at the start tag of another "paramvalue" inside it.
void XmlCommandReader::captureParamValue(ElementPath& path)
{
    QString content;
    QXmlStreamWriter writer(&content);
    path.enterWithoutSegment();
    do {
        xmlReader.readNext();
        if (xmlReader.isStartElement()) {
            if (isParamValue())
                break;
            path.enterWithoutSegment();
            writer.writeStartElement(xmlReader.name().toString());
            writer.writeAttributes(xmlReader.attributes());
        } else if (xmlReader.isEndElement()) {
            if (isParamValue())
                break;
            path.leave();
            writer.writeEndElement();
        } else if (xmlReader.isCharacters()) {
            writer.writeCharacters(xmlReader.text().toString());
        }
    } while (!xmlReader.hasError());

    if (!content.isEmpty())
        parameters.insert(QStringLiteral("paramvalue"), content);
}

bool XmlCommandReader::isParamValue() const
{
    return xmlReader.name() == QLatin1String("paramvalue");
}

bool XmlCommandReader::hasParameter(const QString& key) const
{
    return parameters.contains(key);
}

QString XmlCommandReader::stringParameter(const QString& key, const QString& defaultValue) const
{
    return parameters.value(key, defaultValue);
}

int XmlCommandReader::intParameter(const QString& key, int defaultValue) const
{
    const auto parameter = parameters.constFind(key);
    if (parameter == parameters.constEnd())
        return defaultValue;
    const QString& value = parameter.value();
    if (value.startsWith(QLatin1String("0x")))
        return static_cast<int>(value.mid(2).toUpper().toUInt(nullptr, 16)); // eight F digits are -1
    return value.toInt();
}

void XmlCommandReader::setParameter(const QString& key, const QString& value)
{
    parameters.insert(key, value);
}

QString XmlCommandReader::acceptedReply(
    const QString& remark, const QStringList& echoNames, const QString& namespaceUri) const
{
    const QString remarkElement =
        remark.isEmpty() ? QString() : QStringLiteral("<remark>%1</remark>").arg(escapedText(remark));
    return QStringLiteral("<p:commandAccepted xmlns:p=\"%1\"><command>%2</command>%3%4</p:commandAccepted>")
        .arg(namespaceUri, escapedText(rootName), echoTags(echoNames), remarkElement);
}

QString XmlCommandReader::echoTags(const QStringList& names) const
{
    QString tags;
    for (const QString& name : names + QStringList(QStringLiteral("commandtag"))) {
        const auto parameter = parameters.constFind(name);
        if (parameter != parameters.constEnd())
            tags += QStringLiteral("<%1>%2</%1>").arg(name, escapedText(parameter.value()));
    }
    return tags;
}
