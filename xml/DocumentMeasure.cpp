#include "DocumentMeasure.h"

#include "DoctypeMeasure.h"

#include <QVarLengthArray>

#include <algorithm>
#include <utility>

namespace {

/// Characters of a document. The positions of its parameters are kept in 32 bits, and they can be more than it has.
constexpr qsizetype MaximumLength = qsizetype(1) << 27;

/// Elements inside one another, below the root.
constexpr qsizetype MaximumDepth = 1024;

/// Attributes of one element, declarations of namespaces included. The XML reader compares each with each other one,
/// up to 100 comparisons for each character of such an element; a subsplit takes less than one.
constexpr qsizetype MaximumAttributes = 1024;

/// Comparisons with namespaces for each character of the document. The XML reader looks through all that are in scope
/// for each element, and for each attribute that has a prefix; the writer of captured elements does so again.
constexpr qsizetype NamespaceComparisonsPerCharacter = 64;
/// Characters of a namespace that are compared in the time of one comparison.
constexpr qsizetype CharactersPerComparison = 16;

/// Bytes of memory that a document may take for each character beyond what its own text takes.
constexpr qsizetype GrowthPerCharacter = 32;
/// Bytes that it may take in any case.
constexpr qsizetype SmallestGrowthLimit = qsizetype(1) << 20;

/// Bytes for each character of an entity where it is referred to. One that is a quote is captured as six, and they
/// stand in memory twice while they are written. So entities may double a document, and not more.
constexpr qsizetype EntityGrowth = 32;
/// Bytes for each character in which default attributes are declared, at each element. A quote is captured as six.
constexpr qsizetype DefaultAttributeGrowth = 16;
/// Bytes for each character of a namespace that a captured element declares again, and of what is around it.
constexpr qsizetype NamespaceGrowth = 3;
constexpr qsizetype NamespaceDeclarationLength = 24;

constexpr QLatin1String GrowsTooLarge("Its entities, namespaces or default attributes make the document too large");

bool isSpace(QChar character)
{
    return character == u' ' || character == u'\n' || character == u'\r' || character == u'\t';
}

/**
 * A walk over a document from one markup to the next.
 *
 * Looks at no more than it takes to tell one construct from another. Where the document has an error it may take one
 * for another from there on; but there the XML reader stops, and what comes behind costs nothing.
 */
class Measuring {
public:
    explicit Measuring(QStringView document)
        : document(document)
        , comparisonsLeft(document.size() * NamespaceComparisonsPerCharacter)
        , growthLeft(std::max(document.size() * GrowthPerCharacter, SmallestGrowthLimit))
    {
    }

    DocumentMeasure measure()
    {
        if (document.size() > MaximumLength)
            return {0, QLatin1String("The document is too long")};
        while (skipText() && readMarkup()) { }
        return {excess.isNull() ? document.size() : begin, excess};
    }

private:
    struct Tag {
        qsizetype attributes = 0; ///< all, declarations of namespaces included
        qsizetype prefixed = 0; ///< the others that have a prefix
        qsizetype declarations = 0;
        bool isEmptyElement = false;
    };

    bool skipText();
    bool readMarkup();
    void readDoctype();
    void readStartTag();
    void readEndTag();
    bool readAttribute(Tag& tag);
    bool skipTo(QChar character);
    void skipSpace();
    void skipBehind(qsizetype offset, QStringView end);
    void stop() { position = document.size(); }
    QChar current() const { return position < document.size() ? document[position] : QChar(); }
    qsizetype expand(QStringView text);
    void charge(const Tag& tag);

    QStringView document;
    qsizetype begin = 0; ///< of what is being looked at
    qsizetype position = 0;
    QLatin1String excess;
    qsizetype comparisonsLeft;
    qsizetype growthLeft;
    DoctypeMeasure doctype;
    bool rootSeen = false;
    qsizetype namespacesInScope = 0;
    qsizetype longestNamespace = 0;
    QVarLengthArray<qsizetype, 64> namespacesAround; ///< of each open element: what is in scope behind its end
};

/// \return false at the end of the document, or where something is too much
bool Measuring::skipText()
{
    begin = position;
    const bool found = skipTo(u'<');
    if (!doctype.entities.empty())
        expand(document.mid(begin, position - begin));
    return found && excess.isNull();
}

/// \return false where something is too much
bool Measuring::readMarkup()
{
    begin = position;
    const QStringView rest = document.mid(position);
    if (rest.startsWith(u"</"))
        readEndTag();
    else if (rest.startsWith(u"<?"))
        skipBehind(2, u"?>");
    else if (rest.startsWith(u"<!--"))
        skipBehind(4, u"-->");
    else if (rest.startsWith(u"<![CDATA["))
        skipBehind(9, u"]]>");
    else if (rest.startsWith(u"<!"))
        readDoctype();
    else
        readStartTag();
    return excess.isNull();
}

void Measuring::readDoctype()
{
    // The XML reader takes any number of them, also inside the root element or behind it, and keeps what all declare.
    if (doctype.length > 0 || rootSeen) {
        if (document.mid(position).startsWith(u"<!DOCTYPE"))
            excess = QLatin1String("It has a document type declaration too many");
        else
            stop(); // an error: nothing else begins with "<!" here
        return;
    }
    doctype = measureDoctype(document.mid(position));
    excess = doctype.excess;
    position += doctype.length;
}

void Measuring::readStartTag()
{
    if (rootSeen && namespacesAround.isEmpty()) {
        stop(); // an error: no element may follow the root
        return;
    }
    rootSeen = true;
    const qsizetype nameBegin = ++position;
    while (position < document.size() && !isSpace(current()) && current() != u'>' && current() != u'/'
        && current() != u'<')
        ++position;
    if (position == nameBegin || current() == u'<') {
        stop();
        return;
    }
    Tag tag;
    for (skipSpace(); current() != u'>' && current() != u'/'; skipSpace()) {
        if (!readAttribute(tag)) {
            stop();
            return;
        }
    }
    tag.isEmptyElement = current() == u'/';
    skipTo(u'>');
    ++position;
    charge(tag);
}

/// \return false when there is none
bool Measuring::readAttribute(Tag& tag)
{
    const qsizetype nameBegin = position;
    bool hasPrefix = false;
    for (; position < document.size() && current() != u'=' && !isSpace(current()); ++position)
        hasPrefix = hasPrefix || current() == u':';
    const QStringView name = document.mid(nameBegin, position - nameBegin);

    skipSpace();
    if (current() != u'=')
        return false;
    ++position;
    skipSpace();
    const QChar quote = current();
    if (quote != u'"' && quote != u'\'')
        return false;
    const qsizetype valueBegin = ++position;
    while (position < document.size() && document[position] != quote) // most are too short to be searched faster
        ++position;
    const QStringView value = document.mid(valueBegin, position - valueBegin);
    if (position == document.size() || value.contains(u'<'))
        return false;
    ++position;

    const qsizetype growth = doctype.entities.empty() ? 0 : expand(value);
    ++tag.attributes;
    if (name == u"xmlns" || name.startsWith(u"xmlns:")) {
        ++tag.declarations;
        longestNamespace = std::max(longestNamespace, name.size() + value.size() + growth);
    } else if (hasPrefix) {
        ++tag.prefixed;
    }
    return true;
}

void Measuring::readEndTag()
{
    skipTo(u'>');
    if (namespacesAround.isEmpty()) {
        stop();
        return;
    }
    namespacesInScope = namespacesAround.last();
    namespacesAround.removeLast();
}

/// Whether there is one; at the end of the document otherwise.
bool Measuring::skipTo(QChar character)
{
    const qsizetype found = document.indexOf(character, position);
    position = found < 0 ? document.size() : found;
    return found >= 0;
}

void Measuring::skipSpace()
{
    while (isSpace(current()))
        ++position;
}

void Measuring::skipBehind(qsizetype offset, QStringView end)
{
    const qsizetype found = document.indexOf(end, position + offset);
    position = found < 0 ? document.size() : found + end.size();
}

/// \return the characters that the entities in \a text stand for
qsizetype Measuring::expand(QStringView text)
{
    qsizetype characters = 0;
    for (qsizetype reference = 0; (reference = text.indexOf(u'&', reference)) >= 0;) {
        const qsizetype end = text.indexOf(u';', reference);
        if (end < 0)
            break;
        characters += doctype.lengthOfEntity(text.mid(reference + 1, end - reference - 1));
        reference = end;
    }
    growthLeft -= characters * EntityGrowth;
    if (growthLeft < 0)
        excess = GrowsTooLarge;
    return characters;
}

/// What a start tag costs, and what the elements inside it will find in scope.
void Measuring::charge(const Tag& tag)
{
    const qsizetype attributes = tag.attributes + doctype.defaultAttributes;
    const qsizetype prefixed = tag.prefixed + doctype.defaultAttributes;
    const qsizetype around = namespacesInScope;
    namespacesInScope += tag.declarations + doctype.defaultAttributes;

    comparisonsLeft -= namespacesInScope * (1 + prefixed * (1 + longestNamespace / CharactersPerComparison));
    growthLeft -=
        std::min(prefixed, namespacesInScope) * (longestNamespace + NamespaceDeclarationLength) * NamespaceGrowth
        + doctype.defaultAttributesLength * DefaultAttributeGrowth;

    if (namespacesAround.size() > MaximumDepth)
        excess = QLatin1String("Its elements are nested too deep");
    else if (attributes > MaximumAttributes)
        excess = QLatin1String("One of its elements has too many attributes");
    else if (comparisonsLeft < 0)
        excess = QLatin1String("It has too many namespaces for its length");
    else if (growthLeft < 0)
        excess = GrowsTooLarge;

    if (tag.isEmptyElement)
        namespacesInScope = around;
    else
        namespacesAround.append(around);
}

} // namespace

DocumentMeasure measureDocument(QStringView document)
{
    return Measuring(document).measure();
}
