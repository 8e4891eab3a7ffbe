#pragma once

#include <QString>
#include <QXmlStreamReader>

/// What reading a document costs at least: the tokens, and nothing made of them. \return whether it is well-formed
inline bool parseBare(const QString& document)
{
    QXmlStreamReader reader;
    reader.addData(document);
    while (!reader.atEnd())
        reader.readNext();
    return !reader.hasError();
}
