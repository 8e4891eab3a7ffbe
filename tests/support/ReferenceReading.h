#pragma once

#include "ParameterWalk.h"
#include "PlainXmlReader.h"

#include <QMap>
#include <QString>
#include <QXmlStreamReader>

/// A document as QXmlStreamReader reads it, which says what it means, and whether it is plain.
struct ReferenceReading {
    explicit ReferenceReading(const QString& document)
    {
        using namespace OrvaneInterface;
        ParameterTree plainTree;
        PlainXmlReader plain(document);
        ParameterWalk plainWalk(plain, plainTree, 0);
        plainWalk.readRootElement();
        plainWalk.readParameters();
        isPlain = !plain.hasDeclined();

        ParameterTree tree;
        QXmlStreamReader reader(document);
        ParameterWalk walk(reader, tree, document.size());
        commandName = walk.readRootElement();
        walk.readParameters();
        isWellFormed = !reader.hasError();
        parameters = tree.values();
    }

    bool isPlain;
    bool isWellFormed;
    QString commandName;
    QMap<QString, QString> parameters;
};
