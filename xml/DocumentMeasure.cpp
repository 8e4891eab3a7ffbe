#include "DocumentMeasure.h"

#include "DoctypeMeasure.h"

#include <QVarLengthArray>

#include <algorithm>
#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// Characters of a document. Positions in the texts of its parameters, which can be longer than itself, are kept in 32
/// bits.
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
constexpr qsizetype GrowthPerCharacter = 40;
/// Shorter documents may grow as one of so many characters: a short command may hold an entity or two. In time this is
/// less than a third of what the dearest document of that length takes without any growth.
constexpr qsizetype ShortestLength = 2048;

/// Bytes for each character by which an entity is longer than its reference. So entities can at most double a document.
constexpr qsizetype EntityGrowth = GrowthPerCharacter;
/// Bytes for each quote in an entity: captured, it becomes six characters, and the writer makes two copies of them.
constexpr qsizetype QuoteGrowth = 32;
/// Bytes for each character of the declarations of default attributes, at each element: captured, a quote becomes six
/// characters.
constexpr qsizetype DefaultAttributeGrowth = 16;
/// Bytes for each character of a namespace that a captured element declares again, the declaration around it included.
constexpr qsizetype NamespaceGrowth = 2;
constexpr qsizetype NamespaceDeclarationLength = 24;

constexpr QLatin1String GrowsTooLarge("Its entities, namespaces or default attributes make the document too large");

bool isSpace(char16_t character)
{
    return character <= u' ' // nearly none, and so told at once
        && (character == u' ' || character == u'\n' || character == u'\r' || character == u'\t');
}

/**
 * A walk over a document from one markup to the next.
 *
 * Looks at no more than it takes to tell one construct from another. Behind an error it may mistake one for another:
 * the XML reader stops at the error, so what comes behind costs nothing.
 */
class Measuring {
public:
    explicit Measuring(QStringView document)
        : document(document)
        , comparisonsLeft(document.size() * NamespaceComparisonsPerCharacter)
        , growthLeft(std::max(document.size(), ShortestLength) * GrowthPerCharacter)
    {
    }

    DocumentMeasure measure()
    {
        if (document.size() > MaximumLength)
            return {0, "The document is too long"_L1, 0};
        const qsizetype growthLimit = growthLeft;
        while (skipText() && readMarkup()) { }
        const auto growth = (growthLimit - std::max<qsizetype>(0, growthLeft)) / qsizetype(sizeof(char16_t));
        return {excess.isNull() ? document.size() : begin, excess, growth};
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
    void readDeclaration();
    void readDoctype();
    void readStartTag();
    void readEndTag();
    bool readAttribute(Tag& tag);
    bool skipTo(char16_t character);
    void skipSpace();
    template <typename Predicate> void skipWhile(const Predicate& predicate);
    void skipBehind(qsizetype offset, QStringView end);
    void stop() { position = document.size(); }
    /// A NUL, which no document holds, at its end.
    char16_t current() const { return position < document.size() ? document.utf16()[position] : u'\0'; }
    bool at(QStringView markup) const { return document.mid(position).startsWith(markup); }
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
    switch (++position; current()) {
    case u'/':
        readEndTag();
        break;
    case u'?':
        skipBehind(1, u"?>");
        break;
    case u'!':
        readDeclaration();
        break;
    default:
        readStartTag();
    }
    return excess.isNull();
}

void Measuring::readDeclaration()
{
    if (at(u"!--"))
        skipBehind(3, u"-->");
    else if (at(u"![CDATA["))
        skipBehind(8, u"]]>");
    else if (at(u"!DOCTYPE"))
        readDoctype();
    else
        stop(); // an error
}

void Measuring::readDoctype()
{
    // The XML reader takes any number of them, also inside the root element or behind it, and keeps what all declare.
    if (doctype.length > 0 || rootSeen) {
        excess = "It has a document type declaration too many"_L1;
        return;
    }
    doctype = measureDoctype(document.mid(begin));
    excess = doctype.excess;
    position = begin + doctype.length;
}

void Measuring::readStartTag()
{
    if (rootSeen && namespacesAround.isEmpty()) {
        stop(); // an error: no element may follow the root
        return;
    }
    rootSeen = true;
    const qsizetype nameBegin = position;
    skipWhile([](char16_t character) {
        return !isSpace(character) && character != u'>' && character != u'/' && character != u'<';
    });
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
    skipWhile([&](char16_t character) {
        hasPrefix = hasPrefix || character == u':';
        return character != u'=' && !isSpace(character);
    });
    const QStringView name = document.mid(nameBegin, position - nameBegin);

    skipSpace();
    if (current() != u'=')
        return false;
    ++position;
    skipSpace();
    const char16_t quote = current();
    if (quote != u'"' && quote != u'\'')
        return false;
    const qsizetype valueBegin = ++position;
    skipWhile([&](char16_t character) { return character != quote && character != u'<'; });
    if (current() != quote)
        return false;
    const QStringView value = document.mid(valueBegin, position - valueBegin);
    ++position;

    const qsizetype growth = doctype.entities.empty() ? 0 : expand(value);
    ++tag.attributes;
    if (name.startsWith(u'x') && (name == u"xmlns" || name.startsWith(u"xmlns:"))) {
        ++tag.declarations;
        longestNamespace = std::max(longestNamespace, value.size() + growth);
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
bool Measuring::skipTo(char16_t character)
{
    skipWhile([&](char16_t other) { return other != character; });
    return position < document.size();
}

void Measuring::skipSpace()
{
    skipWhile(isSpace);
}

/// One character after the other: nearly all that is skipped is too short for a search to be faster.
template <typename Predicate> void Measuring::skipWhile(const Predicate& predicate)
{
    const char16_t* const text = document.utf16();
    qsizetype reached = position;
    while (reached < document.size() && predicate(text[reached]))
        ++reached;
    position = reached;
}

void Measuring::skipBehind(qsizetype offset, QStringView end)
{
    const qsizetype found = document.indexOf(end, position + offset);
    position = found < 0 ? document.size() : found + end.size();
}

/// \return how many characters longer \a text is when each entity stands there itself
qsizetype Measuring::expand(QStringView text)
{
    qsizetype growth = 0;
    for (qsizetype reference = 0; (reference = text.indexOf(u'&', reference)) >= 0;) {
        const qsizetype end = text.indexOf(u';', reference);
        if (end < 0)
            break;
        const DoctypeMeasure::Entity entity = doctype.entity(text.mid(reference + 1, end - reference - 1));
        growth += std::max<qsizetype>(0, entity.length - (end - reference + 1));
        growthLeft -= entity.quotes * QuoteGrowth;
        reference = end;
    }
    growthLeft -= growth * EntityGrowth;
    if (growthLeft < 0)
        excess = GrowsTooLarge;
    return growth;
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
        excess = "Its elements are nested too deep"_L1;
    else if (attributes > MaximumAttributes)
        excess = "One of its elements has too many attributes"_L1;
    else if (comparisonsLeft < 0)
        excess = "It has too many namespaces for its length"_L1;
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

} // namespace OrvaneInterface
