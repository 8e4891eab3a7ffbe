#pragma once

#include <QString>
#include <QStringList>

/// A fenced block of a document.
struct DocumentBlock {
    QString place; ///< the document's file name and the line of the block's first line
    QStringList lines;
};

/// The blocks of a Markdown document that are fenced with \a language, in order; none if the file cannot be read.
QList<DocumentBlock> documentBlocks(const QString& path, const QString& language);

/// The lines of a text file; none if it cannot be read.
QStringList documentLines(const QString& path);
