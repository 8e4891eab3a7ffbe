#pragma once

#include "ParameterTree.h"

#include <QVarLengthArray>

namespace OrvaneInterface {

/**
 * Where a walk through a document stands: the node of the current element.
 *
 * Follows the nesting of the elements whatever their content is: each start tag is entered, each end tag leaves what
 * was entered last. Thread: any one at a time.
 */
class ElementPath {
public:
    /// Enters a child element; with the current node it adds no segment to the keys of its content.
    void enter(ParameterTree::Node node)
    {
        parents.append(current);
        current = node;
    }

    /// Leaves the element entered last. At the root there is none, and its end tag changes nothing.
    void leave()
    {
        if (parents.isEmpty())
            return;
        current = parents.last();
        parents.removeLast();
    }

    /// The node of the current element; the tree's root at the root element.
    ParameterTree::Node node() const { return current; }

private:
    ParameterTree::Node current = ParameterTree::Root;
    QVarLengthArray<ParameterTree::Node, 16> parents; ///< for each open element the node of its parent
};

} // namespace OrvaneInterface
