#include "LayoutDocument.h"

#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

LayoutDocument::LayoutDocument(const QString& document)
{
    QXmlStreamReader reader(document);
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        if (layoutName.isEmpty() && reader.name() == "layoutname"_L1)
            layoutName = reader.readElementText(QXmlStreamReader::SkipChildElements).simplified();
        else
            reader.skipCurrentElement();
    }
    while (!reader.atEnd())
        reader.readNext(); // what stands after the root element may still spoil the document

    if (reader.hasError()) {
        layoutName.clear();
        problem = u"Unreadable document, line %1: %2"_s.arg(reader.lineNumber()).arg(reader.errorString());
    } else if (layoutName.isEmpty()) {
        problem = u"The document names no layout"_s;
    }
}
