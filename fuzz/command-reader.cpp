#include "Target.h"
#include "XmlCommandReader.h"

#include <QRegularExpression>
#include <QXmlStreamWriter>

#include <algorithm>

using namespace Qt::StringLiterals;

// Whatever a text is, the reader makes the same of it as the plain way of reading it, or refuses it whole; and it
// refuses nothing that somebody could have a use for.

namespace {

/// What a command document holds, read the plain way: one walk over the XML reader's tokens, with the path as a text, a
/// map of the values, and a map of how often each path has been met.
class CommandModel {
public:
    explicit CommandModel(const QString& document)
        : reader(document)
    {
        readNext();
        while (!reader.atEnd()) {
            if (!reader.isStartElement()) {
                if (reader.isEndElement())
                    leave();
                readNext();
            } else if (name.isNull()) {
                name = reader.name().toString();
                readNext();
            } else if (atParamValue()) {
                readParamValue();
            } else {
                readElement();
            }
        }
    }

    bool isWellFormed() const { return !reader.hasError(); }

    QString name;
    QMap<QString, QString> parameters;

    // How far the document goes.
    qsizetype deepest = 0; ///< elements inside one another, below the root
    qsizetype mostAttributes = 0; ///< of one element, declarations of namespaces included
    qsizetype declarations = 0; ///< of namespaces

private:
    void readNext()
    {
        const QXmlStreamReader::TokenType type = reader.readNext();
        depth -= type == QXmlStreamReader::EndElement ? 1 : 0;
        if (type != QXmlStreamReader::StartElement)
            return;
        const qsizetype declared = reader.namespaceDeclarations().size();
        mostAttributes = std::max(mostAttributes, reader.attributes().size() + declared);
        declarations += declared;
        deepest = std::max(deepest, depth++);
    }

    void leave()
    {
        if (paths.size() > 1)
            paths.removeLast();
    }

    QString pathOfElement() const
    {
        const QString name = reader.name().toString();
        return paths.last().isEmpty() ? name : paths.last() + u'/' + name;
    }

    void readElement()
    {
        paths += pathOfElement();
        if (const int count = occurrences[paths.last()]++; count > 0)
            paths.last() += QString::number(count);
        const QXmlStreamAttributes attributes = reader.attributes();
        for (const QXmlStreamAttribute& attribute : attributes)
            parameters.insert(paths.last() + u'/' + attribute.name().toString(), attribute.value().toString());

        readNext();
        if (reader.isStartElement() && reader.attributes().isEmpty()) {
            paths += pathOfElement(); // not counted
            readNext();
        }
        if (reader.isCharacters()) {
            parameters.insert(paths.last(), reader.text().toString());
            readNext();
        }
    }

    /// Its elements add nothing to the path; another "paramvalue" inside ends what is stored, not the walk.
    void readParamValue()
    {
        QString content;
        QXmlStreamWriter writer(&content);
        paths += paths.last();
        for (readNext(); !reader.hasError() && !atParamValue(); readNext()) {
            if (reader.isStartElement()) {
                paths += paths.last();
                writer.writeStartElement(reader.name().toString());
                writer.writeAttributes(reader.attributes());
            } else if (reader.isEndElement()) {
                leave();
                writer.writeEndElement();
            } else if (reader.isCharacters()) {
                writer.writeCharacters(reader.text().toString());
            }
        }
        if (!content.isEmpty())
            parameters.insert(u"paramvalue"_s, content);
    }

    bool atParamValue() const { return reader.name() == "paramvalue"_L1; }

    QXmlStreamReader reader;
    QStringList paths {QString()}; ///< of the root and each open element below it
    QMap<QString, int> occurrences;
    qsizetype depth = 0;
};

/// Whether it has what can be too much: the numbers are smaller than the bounds, so that these are never the reason for
/// a document of this length.
bool isExtraordinary(const QString& document)
{
    static const QRegularExpression doctypes(u"<(!DOCTYPE|[^!?]).*<!DOCTYPE|<!DOCTYPE(.{1000}|.*\\[.*[&%<])"_s,
        QRegularExpression::DotMatchesEverythingOption);
    if (document.contains("<!DOCTYPE"_L1))
        return doctypes.match(document).hasMatch();
    const CommandModel model(document);
    // An error in the very element that has too many attributes comes too late.
    const bool manyInTheErroneous = !model.isWellFormed() && document.count(u'=') > 1000;
    return model.deepest > 1000 || model.mostAttributes > 1000 || manyInTheErroneous || model.declarations > 5;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString document = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    XmlCommandReader reader;
    const bool accepted = reader.parseCommand(document);
    const QMap<QString, QString> parameters = reader.allParameters();
    require(reader.documentText() == document, u"the document is not kept as it is"_s);
    if (!reader.refusalReason().isNull()) {
        require(!accepted, u"a document is refused and accepted"_s);
        require(isExtraordinary(document), u"an ordinary document is refused"_s);
        require(parameters.isEmpty(), u"a document that is refused has parameters"_s);
        require(document.contains(reader.commandName()), u"the name is not of the document"_s);
        return 0;
    }
    const CommandModel model(document);
    require(model.isWellFormed() == accepted, u"it is well-formed for one reader alone"_s);
    require(reader.commandName() == model.name, u"another command"_s);
    require(parameters == model.parameters, u"other parameters"_s);
    for (auto it = parameters.constKeyValueBegin(); it != parameters.constKeyValueEnd(); ++it)
        require(reader.hasParameter(it->first) && reader.stringParameter(it->first) == it->second,
            u"the parameter %1 is not found as it is"_s.arg(it->first));
    return 0;
}
