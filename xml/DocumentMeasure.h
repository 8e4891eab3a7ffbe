#pragma once

#include <QLatin1String>
#include <QStringView>

namespace OrvaneInterface {

/**
 * How much of a document may be read.
 *
 * A client can send documents before it logs in. Some would cost their reader far more than their length suggests: time
 * that grows with the square of the length, or memory without bound. The XML reader detects this only after the cost is
 * incurred, so each document is measured first. A document with an excess is refused as a whole. The limits are far
 * above what any client needs.
 */
struct DocumentMeasure {
    /// In characters: the whole document, or the part before the first excess.
    qsizetype readableLength;
    /// Human-readable; null if there is none.
    QLatin1String excess;
    /// Upper bound for how much longer captured content is than its text, in characters, not counting escapes.
    qsizetype growth;
};

/// Takes time proportional to the length of \a document. The result is correct up to the first syntax error.
DocumentMeasure measureDocument(QStringView document);

} // namespace OrvaneInterface
