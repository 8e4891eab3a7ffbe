#pragma once

#include <QString>

/**
 * What a setSplitMode document says about the layout, in a child element "layoutname".
 *
 * The document is client text and may be anything; one that is not well formed gives no name, only a problem.
 */
struct LayoutDocument {
    explicit LayoutDocument(const QString& document);

    QString layoutName; ///< empty when there is a problem
    QString problem; ///< in words for people; empty when there is a name
};
