#pragma once

#include <QString>
#include <QStringView>
#include <QVarLengthArray>

/**
 * Where a walk through a document stands: the names from the root's child down to the current element, joined by "/".
 *
 * Follows the nesting of the elements whatever their content is: each start tag is entered, each end tag leaves what
 * was entered last. Thread: any one at a time.
 */
class ElementPath {
public:
    /// Enters a child element that adds a segment.
    void enter(QStringView name);
    /// Enters a child element that adds no segment to the paths of its content.
    void enterWithoutSegment();
    /// Leaves the element entered last. At the root there is none, and its end tag changes nothing.
    void leave();

    /// Appends the number of an occurrence to the current segment.
    void appendOccurrence(int number);
    /// The path; empty at the root.
    const QString& text() const { return path; }
    /// The key of something inside the current element: path + "/" + \a name.
    QString key(QStringView name) const;

private:
    QString path;
    QVarLengthArray<qsizetype, 16> parentLengths; ///< for each open element the length of its parent's path
};
