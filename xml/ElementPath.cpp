#include "ElementPath.h"

void ElementPath::enter(QStringView name)
{
    enterWithoutSegment();
    if (!path.isEmpty())
        path += u'/';
    path += name;
}

void ElementPath::enterWithoutSegment()
{
    parentLengths.append(path.size());
}

void ElementPath::leave()
{
    if (parentLengths.isEmpty())
        return;
    path.truncate(parentLengths.last());
    parentLengths.removeLast();
}

void ElementPath::appendOccurrence(int number)
{
    path += QString::number(number);
}

QString ElementPath::key(QStringView name) const
{
    QString key;
    key.reserve(path.size() + 1 + name.size());
    key += path;
    key += u'/';
    key += name;
    return key;
}
