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
 * The walk through a document that fills its parameters, written once for both sources of tokens: QXmlStreamReader and
 * PlainXmlReader. What it makes of a document stands at XmlCommandReader.
 */
template <typename Reader> class ParameterWalk {
public:
    /// \a captureRoom: made beforehand for the content of each "paramvalue".
    ParameterWalk(Reader& reader, ParameterTree& parameters, qsizetype captureRoom = 0)
        : reader(reader)
        , parameters(parameters)
        , captureRoom(captureRoom)
    {
    }

    /// Reads up to the root. \return its local name; empty when an error comes before it
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
    /// Of an element of which the content is stored as XML text; see XmlCommandReader.
    static constexpr QStringView ParamValueName = u"paramvalue";

    bool isParamValue() const { return reader.name() == ParamValueName; }

    /// With the current node it adds no segment to the keys of what is inside the element.
    void enter(ParameterTree::Node element) { path.append(element); }
    /// At the root there is nothing to leave, and its end tag changes nothing.
    void leave() { path.resize(std::max<qsizetype>(1, path.size() - 1)); }

    void readElement()
    {
        elementSeen = true;
        enter(parameters.nextOccurrence(parameters.findOrAddChild(path.last(), reader.name())));
        readAttributes();
        reader.readNext();
        if (reader.isStartElement() && reader.attributes().isEmpty()) {
            // Not counted, and not captured where it is a "paramvalue". A child with attributes is left to the walk.
            enter(parameters.findOrAddChild(path.last(), reader.name()));
            reader.readNext();
        }
        if (!reader.isCharacters())
            return;
        parameters.setValue(path.last(), reader.text());
        reader.readNext();
    }

    /// The list of the attributes is released before the next token, for which the XML reader would otherwise copy it.
    void readAttributes()
    {
        const auto& attributes = reader.attributes();
        for (const auto& attribute : attributes)
            parameters.setValue(parameters.findOrAddChild(path.last(), attribute.name()), attribute.value());
    }

    void readParamValue()
    {
        if constexpr (requires { reader.decline(); }) { // nothing of it is captured by the plain reader
            reader.decline();
        } else {
            QString content = captureParamValue();
            if (!content.isEmpty())
                parameters.setLongValue(parameters.findOrAdd(ParamValueName), std::move(content));
            // Before the first other child whatever ends the capture is skipped: also the start tag of another one.
            if (!elementSeen && reader.isStartElement()) {
                enter(path.last());
                reader.readNext();
            }
        }
    }

    /// The content of the "paramvalue" at whose start tag the reader is. It leaves the reader at whatever else has that
    /// name: the end tag, the start tag of another one inside it, which is begun in the content, or a reference to an
    /// entity.
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

    /// The writer makes an escaped copy of what it is given, which can be six times as long. Writing an empty text,
    /// such as that of an empty CDATA section, ends the start tag before it.
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
    /// The nodes of the root and of each open element, whatever their content is.
    QVarLengthArray<ParameterTree::Node, 16> path {ParameterTree::Root};
    bool elementSeen = false; ///< below the root, other than a "paramvalue"
};

} // namespace OrvaneInterface
