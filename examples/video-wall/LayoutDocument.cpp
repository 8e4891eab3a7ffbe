#include "LayoutDocument.h"

#include <QXmlStreamReader>

LayoutDocument::LayoutDocument(const QString& document)
{
    QXmlStreamReader reader(document);
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        if (layoutName.isEmpty() && reader.name() == QLatin1String("layoutname"))
            layoutName = reader.readElementText(QXmlStreamReader::SkipChildElements).simplified();
        else
            reader.skipCurrentElement();
    }
    while (!reader.atEnd())
        reader.readNext(); // what stands after the root element may still spoil the document

    if (reader.hasError()) {
        layoutName.clear();
        problem = QStringLiteral("Unreadable document, line %1: %2").arg(reader.lineNumber()).arg(reader.errorString());
    } else if (layoutName.isEmpty()) {
        problem = QStringLiteral("The document names no layout");
    }
}
