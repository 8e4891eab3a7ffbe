#include "DoctypeMeasure.h"

#include <algorithm>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// Characters of a document type declaration. One that only names a document type is much shorter.
constexpr qsizetype MaximumDoctypeLength = 1024;

constexpr QStringView Start = u"<!DOCTYPE";

/// A walk over a document type declaration, which gives up where something is too much or cannot be told.
class Walk {
public:
    explicit Walk(QStringView text)
        : text(text)
    {
    }

    /// \return false when the end of the text comes first, or something is too much
    bool readAll(DoctypeMeasure& measure)
    {
        if (!skipToSubset())
            return false;
        if (at(u"["))
            return readSubset(measure) && skipBehind(u">");
        return skipBehind(u">");
    }
    qsizetype length() const { return position; }
    bool hasReference() const { return referenceSeen; }

private:
    bool at(QStringView expected) const { return text.mid(position).startsWith(expected); }
    bool atEnd() const { return position >= text.size(); }

    bool skipBehind(QStringView end)
    {
        const qsizetype found = text.indexOf(end, position);
        position = found < 0 ? text.size() : found + end.size();
        return found >= 0;
    }

    /// From a quote to behind the next one of its kind; null when there is none.
    QStringView takeLiteral()
    {
        const qsizetype begin = position + 1;
        const qsizetype end = text.indexOf(text[position], begin);
        position = end < 0 ? text.size() : end + 1;
        return end < 0 ? QStringView() : text.mid(begin, end - begin);
    }

    /// To the "[", or to the end of a declaration without it. The external identifier may hold anything.
    bool skipToSubset()
    {
        while (!atEnd() && !at(u"[") && !at(u">")) {
            if (at(u"'") || at(u"\""))
                takeLiteral();
            else
                ++position;
        }
        return !atEnd();
    }

    bool readSubset(DoctypeMeasure& measure)
    {
        while (!atEnd() && !at(u"]") && !referenceSeen) {
            if (at(u"<!--"))
                skipComment();
            else if (at(u"<?"))
                skipBehind(u"?>");
            else if (at(u"<"))
                readDeclaration(measure);
            else
                skipOrRefer();
        }
        return !atEnd() && !referenceSeen;
    }

    void skipComment()
    {
        position += 4;
        skipBehind(u"-->");
    }

    void readDeclaration(DoctypeMeasure& measure)
    {
        constexpr QStringView entity = u"<!ENTITY";
        const bool isEntity = at(entity);
        const bool isAttributeList = at(u"<!ATTLIST");
        const qsizetype begin = position;
        while (!atEnd() && !at(u">") && !referenceSeen) {
            if (!at(u"'") && !at(u"\"")) {
                skipOrRefer();
                continue;
            }
            // Behind more than the entity's name it is an external identifier: not the text, but where to find it.
            const QStringView before = text.mid(begin, position - begin).mid(entity.size()).trimmed();
            const QStringView literal = takeLiteral();
            referenceSeen = std::any_of(literal.begin(), literal.end(),
                [](QChar character) { return character == u'&' || character == u'%' || character == u'<'; });
            if (isEntity)
                measure.entities.push_back({before, literal.size(), literal.count(u'"')});
            else if (isAttributeList)
                ++measure.defaultAttributes;
        }
        skipBehind(u">");
        if (isAttributeList)
            measure.defaultAttributesLength += position - begin;
    }

    void skipOrRefer()
    {
        referenceSeen = at(u"%");
        ++position;
    }

    QStringView text;
    qsizetype position = Start.size();
    bool referenceSeen = false;
};

} // namespace

DoctypeMeasure::Entity DoctypeMeasure::entity(QStringView name) const
{
    Entity longest;
    for (const Entity& candidate : entities) {
        if (candidate.name == name && candidate.length >= longest.length)
            longest = candidate;
    }
    return longest;
}

DoctypeMeasure measureDoctype(QStringView rest)
{
    DoctypeMeasure measure;
    measure.length = rest.size();
    if (!rest.startsWith(Start))
        return measure; // an error: nothing else begins with "<!" here

    Walk walk(rest.first(std::min(rest.size(), MaximumDoctypeLength)));
    if (walk.readAll(measure))
        measure.length = walk.length();
    else if (walk.hasReference())
        measure.excess = "A reference or markup in its document type declaration"_L1;
    else if (rest.size() > MaximumDoctypeLength)
        measure.excess = "Its document type declaration is too long"_L1;
    return measure;
}

} // namespace OrvaneInterface
