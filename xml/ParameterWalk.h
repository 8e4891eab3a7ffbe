#pragma once

#include "ElementPath.h"
#include "ParameterTree.h"

#include <QString>
#include <QXmlStreamReader>

#include <type_traits>
#include <utility>

namespace OrvaneInterface {

/// An element of which the content is stored as XML text; see XmlCommandReader.
constexpr QStringView ParamValueName = u"paramvalue";

/// The content of the "paramvalue" at whose start tag the reader is. It leaves the reader at whatever else has that
/// name: the end tag, the start tag of another one inside it, which is begun in the content, or a reference to an
/// entity. \a room: made for the content beforehand.
QString captureParamValue(QXmlStreamReader& reader, ElementPath& path, qsizetype room);

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
        while (!reader.isStartElement()) {
            if (reader.atEnd())
                return {};
            reader.readNext();
        }
        QString name = reader.name().toString();
        reader.readNext();
        return name;
    }

    /// Stops at the end of the document: reading past it would be reported as an error.
    void readParameters()
    {
        while (!reader.atEnd()) {
            if (reader.isStartElement()) {
                if (reader.name() == ParamValueName)
                    readParamValue();
                else
                    readElement();
                continue;
            }
            if (reader.isEndElement())
                path.leave();
            reader.readNext();
        }
    }

private:
    void readElement()
    {
        elementSeen = true;
        path.enter(parameters.nextOccurrence(parameters.findOrAddChild(path.node(), reader.name())));
        readAttributes(path.node());
        readElementText();
    }

    /// The list of the attributes is released before the next token, for which the XML reader would otherwise copy it.
    void readAttributes(ParameterTree::Node element)
    {
        const auto& attributes = reader.attributes();
        for (const auto& attribute : attributes)
            parameters.setValue(parameters.findOrAddChild(element, attribute.name()), attribute.value());
    }

    void readElementText()
    {
        reader.readNext();
        if (reader.isStartElement() && reader.attributes().isEmpty()) {
            // Not counted, and not captured where it is a "paramvalue". A child with attributes is left to the walk.
            path.enter(parameters.findOrAddChild(path.node(), reader.name()));
            reader.readNext();
        }
        if (!reader.isCharacters())
            return;
        parameters.setValue(path.node(), reader.text());
        reader.readNext();
    }

    void readParamValue()
    {
        if constexpr (std::is_same_v<Reader, QXmlStreamReader>) {
            QString content = captureParamValue(reader, path, captureRoom);
            if (!content.isEmpty())
                parameters.setLongValue(parameters.findOrAdd(ParamValueName), std::move(content));
            // Before the first other child whatever ends the capture is skipped: also the start tag of another one.
            if (!elementSeen && reader.isStartElement()) {
                path.enter(path.node());
                reader.readNext();
            }
        } else {
            reader.decline();
        }
    }

    Reader& reader;
    ParameterTree& parameters;
    ElementPath path;
    qsizetype captureRoom;
    bool elementSeen = false; ///< below the root, other than a "paramvalue"
};

} // namespace OrvaneInterface
