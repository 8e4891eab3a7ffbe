#include "DocumentLimits.h"

#include <algorithm>

namespace {

/// What the XML reader allows by itself.
constexpr qsizetype LargestExpansion = 4096;

/// The shortest attribute is ` a=""`.
constexpr qsizetype ShortestAttribute = 5;

/// How many attributes a start tag has, as quoted texts up to its end. What else begins with a "<" has none, although
/// it may be full of quotes: a comment, a CDATA section.
qsizetype attributeCount(QStringView tag)
{
    if (tag.size() < 2 || tag[1] == u'!' || tag[1] == u'?')
        return 0;

    qsizetype count = 0;
    QChar quote;
    for (const QChar character : tag) {
        if (!quote.isNull()) {
            if (character == quote)
                quote = QChar();
        } else if (character == u'"' || character == u'\'') {
            quote = character;
            ++count;
        } else if (character == u'>') {
            break;
        }
    }
    return count;
}

} // namespace

qsizetype readableLength(QStringView document)
{
    // Every start tag begins with a "<", and there is no other one before its end. So one that has too many attributes
    // is followed by nothing of the kind for a long way, and what has another one on that way need not be looked at.
    constexpr qsizetype shortestSuspect = MaximumAttributes * ShortestAttribute;
    if (document.size() <= shortestSuspect)
        return document.size();
    qsizetype begin = document.indexOf(u'<');
    while (begin >= 0) {
        const qsizetype lastOnTheWay = document.mid(begin + 1, shortestSuspect).lastIndexOf(u'<');
        if (lastOnTheWay >= 0) {
            begin += 1 + lastOnTheWay;
            continue;
        }
        const qsizetype next = document.indexOf(u'<', begin + 1);
        const qsizetype end = next < 0 ? document.size() : next;
        if (attributeCount(document.mid(begin, end - begin)) > MaximumAttributes)
            return begin;
        begin = next;
    }
    return document.size();
}

int entityExpansionLimit(QStringView document)
{
    const qsizetype references = std::count(document.begin(), document.end(), u'&');
    return static_cast<int>(std::min(LargestExpansion, document.size() / std::max<qsizetype>(1, references)));
}

qsizetype parameterBudget(QStringView document)
{
    return std::clamp(document.size() * ParameterBytesPerCharacter, SmallestParameterBudget, LargestParameterBudget);
}
