#pragma once

#include "Repetitions.h"

#include <QByteArray>
#include <QFile>
#include <QList>

/// A document that is expensive for its length.
struct HostileDocument {
    QByteArray shape; ///< reads as a sentence about the document
    QString text;
};

/// One document of each shape of HostileDocuments.txt, each about \a size characters long.
inline QList<HostileDocument> hostileDocuments(qsizetype size)
{
    QFile file(QStringLiteral(ORVANE_HOSTILE_DOCUMENTS));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Cannot read %s", ORVANE_HOSTILE_DOCUMENTS);
    QList<HostileDocument> documents;
    for (QByteArray line = file.readLine(); !line.isEmpty(); line = file.readLine()) {
        const qsizetype colon = line.indexOf(": ");
        documents += {line.first(colon), expanded(QString::fromUtf8(line.sliced(colon + 2).trimmed()), size)};
    }
    if (documents.isEmpty())
        qFatal("No documents in %s", ORVANE_HOSTILE_DOCUMENTS);
    return documents;
}
