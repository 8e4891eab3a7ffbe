#pragma once

#include "ParameterTree.h"

#include <QString>
#include <QVarLengthArray>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <utility>

namespace OrvaneInterface {

/**
 * Walks through a document and fills its parameters. It serves both sources of tokens: QXmlStreamReader and
 * PlainXmlReader. XmlCommandReader describes the result.
 */
template <typename Reader> class ParameterWalk {
public:
    /// \a captureRoom: characters to reserve for the content of each "paramvalue".
    ParameterWalk(Reader& reader, ParameterTree& parameters, qsizetype captureRoom = 0)
        : reader(reader)
        , parameters(parameters)
        , captureRoom(captureRoom)
    {
    }

    /// Reads the root's start tag. \return its local name; empty if an error precedes it
    QString readRootElement()
    {
        while (!reader.isStartElement() && !reader.atEnd())
            reader.readNext();
        if (!reader.isStartElement())
            return {};
        QString name = reader.name().toString();
        reader.readNext();
        return name;
    }

    /// Stops at the end of the document: reading past it would be reported as an error.
    void readParameters()
    {
        while (!reader.atEnd()) {
            if (!reader.isStartElement()) {
                if (reader.isEndElement())
                    leave();
                reader.readNext();
            } else if (isParamValue()) {
                readParamValue();
            } else {
                readElement();
            }
        }
    }

private:
    /// The content of this element is stored as XML text; see XmlCommandReader.
    static constexpr QStringView ParamValueName = u"paramvalue";

    bool isParamValue() const { return reader.name() == ParamValueName; }

    /// Entering the current node again adds no segment to the keys inside the element.
    void enter(ParameterTree::Node element) { path.append(element); }
    /// The root is never left: its end tag changes nothing.
    void leave() { path.resize(std::max<qsizetype>(1, path.size() - 1)); }

    void readElement()
    {
        elementSeen = true;
        enter(parameters.nextOccurrence(parameters.findOrAddChild(path.last(), reader.name())));
        readAttributes();
        reader.readNext();
        if (reader.isStartElement() && reader.attributes().isEmpty()) {
            // Not counted, and not captured if it is a "paramvalue". A child with attributes is left to the walk.
            enter(parameters.findOrAddChild(path.last(), reader.name()));
            reader.readNext();
        }
        if (!reader.isCharacters())
            return;
        parameters.setValue(path.last(), reader.text());
        reader.readNext();
    }

    /// Releases the list of attributes before the next token; otherwise the XML reader would copy it then.
    void readAttributes()
    {
        const auto& attributes = reader.attributes();
        for (const auto& attribute : attributes)
            parameters.setValue(parameters.findOrAddChild(path.last(), attribute.name()), attribute.value());
    }

    void readParamValue()
    {
        if constexpr (requires { reader.decline(); }) { // the plain reader captures nothing
            reader.decline();
        } else {
            QString content = captureParamValue();
            if (!content.isEmpty())
                parameters.setLongValue(parameters.findOrAdd(ParamValueName), std::move(content));
            // Before the first other child, whatever ends the capture is skipped, even the start tag of another one.
            if (!elementSeen && reader.isStartElement()) {
                enter(path.last());
                reader.readNext();
            }
        }
    }

    /// Returns the content of the "paramvalue" whose start tag the reader is at. Stops at the next token of that name:
    /// its end tag, the start tag of a nested one, which the content then includes, or a reference to an entity.
    QString captureParamValue()
    {
        QString content;
        content.reserve(captureRoom);
        QXmlStreamWriter writer(&content);
        enter(path.last());
        do {
            reader.readNext();
            if (reader.isStartElement()) {
                writer.writeStartElement(reader.name().toString());
                writer.writeAttributes(reader.attributes());
                if (!isParamValue())
                    enter(path.last());
            } else if (reader.isEndElement() && !isParamValue()) {
                leave();
                writer.writeEndElement();
            } else if (reader.isCharacters()) {
                writeInPieces(writer, reader.text());
            }
        } while (!reader.hasError() && !isParamValue());
        return content;
    }

    /// The writer makes an escaped copy of its input, which can be six times as long. An empty text, such as that of an
    /// empty CDATA section, is written as well: it ends the start tag before it.
    static void writeInPieces(QXmlStreamWriter& writer, QStringView text)
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

    Reader& reader;
    ParameterTree& parameters;
    qsizetype captureRoom;
    /// The nodes of the root and of each open element, captured ones included.
    QVarLengthArray<ParameterTree::Node, 16> path {ParameterTree::Root};
    bool elementSeen = false; ///< below the root, not counting any "paramvalue"
};

} // namespace OrvaneInterface
