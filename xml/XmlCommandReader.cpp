#include "XmlCommandReader.h"

#include "DocumentMeasure.h"
#include "ElementPath.h"

#include <QXmlStreamWriter>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using OrvaneInterface::DocumentMeasure;
using OrvaneInterface::ElementPath;
using OrvaneInterface::ParameterTree;

namespace {

constexpr QStringView ParamValueName = u"paramvalue";

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

XmlCommandReader::XmlCommandReader() = default;
XmlCommandReader::~XmlCommandReader() = default;

bool XmlCommandReader::parseCommand(const QString& text)
{
    document = text;
    const DocumentMeasure measure = OrvaneInterface::measureDocument(text);
    growth = measure.growth;
    xmlReader.addData(measure.excess.isNull() ? text : text.first(measure.readableLength));
    parameters.reserve(text.size());
    if (readRootElement())
        readParameters();

    // An error that comes before what is too much is an error as in any other document.
    if (!measure.excess.isNull() && xmlReader.error() != QXmlStreamReader::NotWellFormedError) {
        refusal = measure.excess;
        parameters.clear();
    }
    return refusal.isNull() && !xmlReader.hasError();
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
    path.enter(parameters.nextOccurrence(parameters.findOrAddChild(path.node(), xmlReader.name())));
    readAttributes(path.node());
    readElementText(path);
}

/// The list of the attributes is released before the next token, for which the XML reader would otherwise copy it.
void XmlCommandReader::readAttributes(ParameterTree::Node element)
{
    const QXmlStreamAttributes attributes = xmlReader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes)
        parameters.setValue(parameters.findOrAddChild(element, attribute.name()), attribute.value());
}

void XmlCommandReader::readElementText(ElementPath& path)
{
    xmlReader.readNext();
    if (xmlReader.isStartElement() && xmlReader.attributes().isEmpty()) {
        // Not counted, and not captured where it is a "paramvalue". A child with attributes is left to the walk.
        path.enter(parameters.findOrAddChild(path.node(), xmlReader.name()));
        xmlReader.readNext();
    }
    if (!xmlReader.isCharacters())
        return;
    parameters.setValue(path.node(), xmlReader.text());
    xmlReader.readNext();
}

/// Ends at the end tag of the element, or at the start tag of another "paramvalue" inside it.
void XmlCommandReader::captureParamValue(ElementPath& path)
{
    QString content;
    content.reserve(document.size() + growth); // copying it for room would hold it twice
    QXmlStreamWriter writer(&content);
    path.enter(path.node());
    while (!xmlReader.hasError()) {
        xmlReader.readNext();
        if (xmlReader.isStartElement()) {
            if (isParamValue())
                break;
            path.enter(path.node());
            writer.writeStartElement(xmlReader.name().toString());
            writer.writeAttributes(xmlReader.attributes());
        } else if (xmlReader.isEndElement()) {
            if (isParamValue())
                break;
            path.leave();
            writer.writeEndElement();
        } else if (xmlReader.isCharacters()) {
            writeInPieces(writer, xmlReader.text());
        }
    }
    if (!content.isEmpty())
        parameters.setLongValue(parameters.findOrAdd(ParamValueName), std::move(content));
}

bool XmlCommandReader::isParamValue() const
{
    return xmlReader.name() == ParamValueName;
}

/// The node of a parameter that is there.
std::optional<ParameterTree::Node> XmlCommandReader::find(QStringView key) const
{
    const std::optional<ParameterTree::Node> node = parameters.find(key);
    return node && parameters.hasValue(*node) ? node : std::nullopt;
}

bool XmlCommandReader::hasParameter(QStringView key) const
{
    return find(key).has_value();
}

QString XmlCommandReader::stringParameter(QStringView key, const QString& defaultValue) const
{
    const auto parameter = find(key);
    return parameter ? parameters.value(*parameter).toString() : defaultValue;
}

std::string XmlCommandReader::utf8Parameter(QStringView key) const
{
    const auto parameter = find(key);
    return parameter ? parameters.value(*parameter).toUtf8().toStdString() : std::string();
}

int XmlCommandReader::intParameter(QStringView key, int defaultValue) const
{
    const auto parameter = find(key);
    if (!parameter)
        return defaultValue;
    const QStringView value = parameters.value(*parameter);
    if (value.startsWith("0x"_L1))
        return static_cast<int>(value.mid(2).toString().toUpper().toUInt(nullptr, 16)); // eight F digits are -1
    return value.toInt();
}

void XmlCommandReader::setParameter(QStringView key, const QString& value)
{
    parameters.setValue(parameters.findOrAdd(key), value);
}
