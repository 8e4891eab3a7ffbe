#include "ElementPath.h"

void ElementPath::enter(ParameterTree::Node key)
{
    parents.append(current);
    current = key;
}

void ElementPath::leave()
{
    if (parents.isEmpty())
        return;
    current = parents.last();
    parents.removeLast();
}
