#pragma once

#include <QLatin1String>
#include <QStringView>

namespace OrvaneInterface {

/**
 * How much of a document may be read.
 *
 * A client can send documents before it has logged in, and a few of them cost their reader far more than their length
 * shows: time that grows with the square of it, or memory that grows beyond all measure. The XML reader tells of such a
 * thing only when it has paid for it, so the document is measured before. What is too much is refused as a whole; the
 * bounds are far from everything that a client has a use for.
 */
struct DocumentMeasure {
    /// In characters: all of the document, or what stands before the first thing that is too much.
    qsizetype readableLength;
    /// What is too much, in words for a person; null when nothing is.
    QLatin1String excess;
    /// The most by which what is captured of the document can be longer than its text, in characters, apart from
    /// escapes.
    qsizetype growth;
};

/// Takes time in proportion to the length of \a document, and is right about a document up to its first error.
DocumentMeasure measureDocument(QStringView document);

} // namespace OrvaneInterface
