#pragma once

#include "ParameterWalk.h"
#include "PlainXmlReader.h"

#include <QLatin1String>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>

/**
 * The content of a command document, read the slow and simple way: one walk over the tokens of QXmlStreamReader, with
 * the path as a text, a map of the values, and a count of each path. Shares no code with the library.
 */
class ReferenceReading {
public:
    explicit ReferenceReading(const QString& document)
        : reader(document)
    {
        do
            readNext();
        while (!reader.isStartElement() && !reader.atEnd());
        if (reader.isStartElement()) {
            commandName = reader.name().toString();
            if (commandName.contains(u':'))
                commandName = commandName.split(u':').at(1);
            readNext();
            readUpToFirstParameter();
            readParameters();
        }
        isWellFormed = !reader.hasError();
    }

    bool isWellFormed = false;
    QString commandName;
    QMap<QString, QString> parameters;

    // The dimensions of the document.
    qsizetype deepest = 0; ///< nested elements below the root
    qsizetype mostAttributes = 0; ///< of one element, declarations of namespaces included
    qsizetype declarations = 0; ///< of namespaces
    qsizetype longestNamespace = 0;

private:
    void readNext()
    {
        const QXmlStreamReader::TokenType type = reader.readNext();
        depth -= type == QXmlStreamReader::EndElement ? 1 : 0;
        if (type != QXmlStreamReader::StartElement)
            return;
        const QXmlStreamNamespaceDeclarations declared = reader.namespaceDeclarations();
        for (const QXmlStreamNamespaceDeclaration& declaration : declared)
            longestNamespace = std::max(longestNamespace, declaration.namespaceUri().size());
        mostAttributes = std::max(mostAttributes, reader.attributes().size() + declared.size());
        declarations += declared.size();
        deepest = std::max(deepest, depth++);
    }

    /// Skips whatever ends a capture here.
    void readUpToFirstParameter()
    {
        while (!reader.atEnd() && (!reader.isStartElement() || isParamValue())) {
            if (reader.isStartElement())
                readParamValue();
            if (!reader.atEnd())
                readNext();
        }
    }

    void readParameters()
    {
        while (!reader.atEnd()) {
            if (!reader.isStartElement()) {
                if (reader.isEndElement())
                    leave();
                readNext();
            } else if (isParamValue()) {
                readParamValue();
            } else {
                readElement();
            }
        }
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

    /// Anything with this name ends the capture: the element's end, the start of another one (its tag is begun in the
    /// content), or a reference to an unknown entity. The elements of the content add nothing to the path.
    void readParamValue()
    {
        QString content;
        QXmlStreamWriter writer(&content);
        paths += paths.last();
        do {
            readNext();
            if (reader.isStartElement()) {
                writer.writeStartElement(reader.name().toString());
                writer.writeAttributes(reader.attributes());
                if (!isParamValue())
                    paths += paths.last();
            } else if (reader.isEndElement()) {
                writer.writeEndElement();
                if (!isParamValue())
                    leave();
            } else if (reader.isCharacters()) {
                writer.writeCharacters(reader.text().toString());
            }
        } while (!reader.hasError() && !isParamValue());
        if (!content.isEmpty())
            parameters.insert(QStringLiteral("paramvalue"), content);
    }

    bool isParamValue() const { return reader.name() == QLatin1String("paramvalue"); }

    QXmlStreamReader reader;
    QStringList paths {QString()}; ///< of the root and each open element below it
    QMap<QString, int> occurrences;
    qsizetype depth = 0;
};

/// Whether the document is read without QXmlStreamReader.
inline bool isPlain(const QString& document)
{
    OrvaneInterface::ParameterTree tree;
    OrvaneInterface::PlainXmlReader reader(document);
    OrvaneInterface::ParameterWalk walk(reader, tree);
    walk.readRootElement();
    walk.readParameters();
    return !reader.hasDeclined();
}
