#include "XmlCommandReader.h"

#include "DocumentLimits.h"
#include "ElementPath.h"
#include "ReplyTemplates.h"

#include <QStringBuilder>
#include <QXmlStreamWriter>

namespace {

constexpr QStringView ParamValueName = u"paramvalue";

/// The most that an occurrence adds to a name.
constexpr qsizetype OccurrenceDigits = 10;

} // namespace

XmlCommandReader::XmlCommandReader() = default;
XmlCommandReader::~XmlCommandReader() = default;

bool XmlCommandReader::parseCommand(const QString& text)
{
    document = text;
    parameters.reserve(text.size());
    budget = parameterBudget(text);
    xmlReader.setEntityExpansionLimit(DoctypeExpansionLimit);
    const qsizetype length = readableLength(text);
    xmlReader.addData(length == text.size() ? text : text.first(length));
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
        if (xmlReader.isDTD())
            checkDoctype();
    }

    // The local name of a well-formed root holds no colon.
    rootName = xmlReader.name().toString();
    if (rootName.contains(u':'))
        rootName = rootName.section(u':', 1, 1);
    xmlReader.readNext();
    return true;
}

void XmlCommandReader::checkDoctype()
{
    if (xmlReader.text().size() > MaximumDoctypeLength)
        xmlReader.raiseError(QStringLiteral("Document type declaration too long"));
    xmlReader.setEntityExpansionLimit(entityExpansionLimit(document));
}

/// Whether the parameters may take that many characters more, in up to two nodes; an error otherwise.
bool XmlCommandReader::hasRoomFor(qsizetype characters)
{
    if (parameters.size() + ParameterTree::sizeOf(2, characters) <= budget)
        return true;
    xmlReader.raiseError(QStringLiteral("Parameters too large for the document"));
    return false;
}

/// An error when the element stands too deep or declares too many namespaces.
bool XmlCommandReader::enter(ElementPath& path, ParameterTree::Node key)
{
    path.enter(key);
    if (path.depth() <= DepthWithoutNamespaceCheck)
        return true;
    if (path.depth() <= MaximumDepth && xmlReader.namespaceDeclarations().size() <= MaximumNamespaceDeclarations)
        return true;
    xmlReader.raiseError(QStringLiteral("Elements nested too deep, or too many namespaces"));
    return false;
}

void XmlCommandReader::store(ParameterTree::Node key, QStringView value)
{
    if (hasRoomFor(value.size()))
        parameters.setValue(key, value);
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
    const QStringView name = xmlReader.name();
    if (!hasRoomFor(2 * (name.size() + OccurrenceDigits)))
        return;
    if (!enter(path, parameters.nextOccurrence(parameters.child(path.key(), name))))
        return;
    readAttributes(path.key());
    readElementText(path);
}

/// The list of the attributes is let go before the next token: the XML reader would make itself another one.
void XmlCommandReader::readAttributes(ParameterTree::Node element)
{
    const QXmlStreamAttributes attributes = xmlReader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes) {
        if (!hasRoomFor(attribute.name().size() + attribute.value().size()))
            return;
        parameters.setValue(parameters.child(element, attribute.name()), attribute.value());
    }
}

void XmlCommandReader::readElementText(ElementPath& path)
{
    xmlReader.readNext();
    if (xmlReader.isStartElement() && xmlReader.attributes().isEmpty()) {
        // Not counted, and not captured where it is a "paramvalue". A child with attributes is left to the walk.
        if (!hasRoomFor(xmlReader.name().size()) || !enter(path, parameters.child(path.key(), xmlReader.name())))
            return;
        xmlReader.readNext();
    }
    if (!xmlReader.isCharacters())
        return;
    store(path.key(), xmlReader.text());
    xmlReader.readNext();
}

/// Ends at the end tag of the element, or at the start tag of another "paramvalue" inside it.
void XmlCommandReader::captureParamValue(ElementPath& path)
{
    QString content;
    QXmlStreamWriter writer(&content);
    path.enter(path.key());
    do {
        xmlReader.readNext();
        if (xmlReader.isStartElement()) {
            if (isParamValue())
                break;
            if (!enter(path, path.key()))
                break;
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
        if (content.size() > ParamValueCharactersPerCharacter * document.size())
            xmlReader.raiseError(QStringLiteral("A paramvalue too large for the document"));
    } while (!xmlReader.hasError());

    if (!content.isEmpty())
        store(parameters.node(ParamValueName), content);
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

bool XmlCommandReader::hasParameter(const QString& key) const
{
    return find(key).has_value();
}

QString XmlCommandReader::stringParameter(const QString& key, const QString& defaultValue) const
{
    const auto parameter = find(key);
    return parameter ? parameters.value(*parameter).toString() : defaultValue;
}

std::string XmlCommandReader::utf8Parameter(const QString& key) const
{
    const auto parameter = find(key);
    return parameter ? parameters.value(*parameter).toUtf8().toStdString() : std::string();
}

int XmlCommandReader::intParameter(const QString& key, int defaultValue) const
{
    const auto parameter = find(key);
    if (!parameter)
        return defaultValue;
    const QStringView value = parameters.value(*parameter);
    if (value.startsWith(QLatin1String("0x")))
        return static_cast<int>(value.mid(2).toString().toUpper().toUInt(nullptr, 16)); // eight F digits are -1
    return value.toInt();
}

void XmlCommandReader::setParameter(const QString& key, const QString& value)
{
    parameters.setValue(parameters.node(key), value);
}

QString XmlCommandReader::acceptedReply(
    const QString& remark, const QStringList& echoNames, const QString& namespaceUri) const
{
    QString reply;
    reply.reserve(UsualReplyLength);
    reply += QLatin1String("<p:commandAccepted xmlns:p=\"") % namespaceUri % QLatin1String("\">");
    appendElement(reply, u"command", rootName);
    appendEchoTags(reply, echoNames);
    if (!remark.isEmpty())
        appendElement(reply, u"remark", remark);
    reply += QLatin1String("</p:commandAccepted>");
    return reply;
}

void XmlCommandReader::appendEchoTags(QString& reply, const QStringList& names) const
{
    const auto echo = [&](QStringView name) {
        if (const auto parameter = find(name))
            appendElement(reply, name, parameters.value(*parameter));
    };
    for (const QString& name : names)
        echo(name);
    echo(u"commandtag");
}
