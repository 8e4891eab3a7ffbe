#include "DocumentMeasure.h"

#include "DoctypeMeasure.h"
#include "MarkupCursor.h"

#include <QVarLengthArray>

#include <algorithm>

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
        , cursor(document)
        , comparisonsLeft(document.size() * NamespaceComparisonsPerCharacter)
        , growthLeft(std::max(document.size(), ShortestLength) * GrowthPerCharacter)
    {
    }

    DocumentMeasure measure()
    {
        if (document.size() > MaximumLength)
            return {0, "The document is too long"_L1, 0};
        const qsizetype growthLimit = growthLeft;
        while (excess.isNull() && !cursor.atEnd())
            readNext();
        const auto growth = (growthLimit - std::max<qsizetype>(0, growthLeft)) / qsizetype(sizeof(char16_t));
        return {excess.isNull() ? document.size() : begin, excess, growth};
    }

private:
    struct Tag {
        qsizetype attributes = 0; ///< all, declarations of namespaces included
        qsizetype prefixed = 0; ///< the others that have a prefix
        qsizetype declarations = 0;
    };

    void readNext()
    {
        begin = document.size() - cursor.rest().size();
        if (cursor.at(u'<'))
            readMarkup();
        else
            expand(cursor.takeWhile([](char16_t character) { return character != u'<'; }));
        if (excess.isNull() && growthLeft < 0)
            excess = "Its entities, namespaces or default attributes make the document too large"_L1;
    }

    void readMarkup()
    {
        if (cursor.at(u"</") && !isOutsideRoot())
            readEndTag();
        else if (cursor.take(u"<?"))
            cursor.skipBehind(u"?>");
        else if (cursor.take(u"<!--"))
            cursor.skipBehind(u"-->");
        else if (cursor.take(u"<![CDATA["))
            cursor.skipBehind(u"]]>");
        else if (cursor.at(u"<!DOCTYPE"))
            readDoctype();
        else if (cursor.take(u'<') && !cursor.at(u'!') && !(rootSeen && isOutsideRoot()))
            readStartTag();
        else
            cursor.skipAll(); // an error
    }

    void readDoctype()
    {
        // The XML reader takes any number of them, also in the root element or behind it, and keeps what all declare.
        if (doctype.length > 0 || rootSeen) {
            excess = "It has a document type declaration too many"_L1;
            return;
        }
        doctype = DoctypeMeasure(cursor.rest());
        excess = doctype.excess;
        cursor = MarkupCursor(cursor.rest().sliced(doctype.length));
    }

    void readStartTag()
    {
        const auto isInName = [](char16_t character) { return character != u'=' && !MarkupCursor::isSpace(character); };
        const auto isInValue = [](char16_t character) { return character != u'<'; };
        rootSeen = true;
        const QStringView name = cursor.takeWhile(
            [](char16_t c) { return !MarkupCursor::isSpace(c) && c != u'>' && c != u'/' && c != u'<'; });
        if (name.isEmpty() || cursor.at(u'<'))
            cursor.skipAll(); // an error
        Tag tag;
        for (MarkupCursor::Attribute attribute; cursor.takeAttribute(attribute, isInName, isInValue);)
            count(attribute, tag);
        if (!cursor.atTagEnd())
            return; // an error
        charge(tag);
        if (cursor.at(u'/'))
            namespaces.removeLast();
        cursor.skipBehind(u">");
    }

    void count(const MarkupCursor::Attribute& attribute, Tag& tag)
    {
        const auto& [name, value] = attribute;
        const qsizetype growth = expand(value);
        ++tag.attributes;
        if (name.startsWith(u'x') && (name == u"xmlns" || name.startsWith(u"xmlns:"))) {
            ++tag.declarations;
            longestNamespace = std::max(longestNamespace, value.size() + growth);
        } else if (std::find(name.begin(), name.end(), u':') != name.end()) {
            ++tag.prefixed;
        }
    }

    /// Up to its ">", which is looked at as text.
    void readEndTag()
    {
        cursor.takeWhile([](char16_t character) { return character != u'>'; });
        namespaces.removeLast();
    }

    /// \return how many characters longer \a text is when each entity stands there itself
    qsizetype expand(QStringView text)
    {
        if (doctype.entities.empty())
            return 0;
        qsizetype growth = 0;
        for (MarkupCursor rest(text); rest.skipBehind(u"&");) {
            const QStringView name = rest.takeWhile([](char16_t character) { return character != u';'; });
            if (rest.atEnd())
                break;
            const DoctypeMeasure::Entity entity = doctype.entity(name);
            growth += std::max<qsizetype>(0, entity.length - (name.size() + 2)); // "&" and ";" stand there, too
            growthLeft -= entity.quotes * QuoteGrowth;
        }
        growthLeft -= growth * EntityGrowth;
        return growth;
    }

    /// What a start tag costs, and what the elements inside it will find in scope.
    void charge(const Tag& tag)
    {
        const qsizetype prefixed = tag.prefixed + doctype.defaultAttributes;
        const qsizetype inScope = namespaces.last() + tag.declarations + doctype.defaultAttributes;
        namespaces.append(inScope);
        comparisonsLeft -= inScope * (1 + prefixed * (1 + longestNamespace / CharactersPerComparison));
        growthLeft -= std::min(prefixed, inScope) * (longestNamespace + NamespaceDeclarationLength) * NamespaceGrowth
            + doctype.defaultAttributesLength * DefaultAttributeGrowth;

        if (namespaces.size() - 2 > MaximumDepth)
            excess = "Its elements are nested too deep"_L1;
        else if (tag.attributes + doctype.defaultAttributes > MaximumAttributes)
            excess = "One of its elements has too many attributes"_L1;
        else if (comparisonsLeft < 0)
            excess = "It has too many namespaces for its length"_L1;
    }

    bool isOutsideRoot() const { return namespaces.size() == 1; }

    QStringView document;
    MarkupCursor cursor;
    qsizetype begin = 0; ///< of what is being looked at
    QLatin1String excess;
    qsizetype comparisonsLeft;
    qsizetype growthLeft;
    DoctypeMeasure doctype;
    bool rootSeen = false;
    qsizetype longestNamespace = 0;
    QVarLengthArray<qsizetype, 64> namespaces {0}; ///< in scope: outside the root, and in each open element
};

} // namespace

DocumentMeasure measureDocument(QStringView document)
{
    return Measuring(document).measure();
}

} // namespace OrvaneInterface
