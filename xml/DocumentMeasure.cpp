#include "DocumentMeasure.h"

#include "DoctypeMeasure.h"
#include "MarkupCursor.h"

#include <QVarLengthArray>

#include <algorithm>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// Characters of a document. The texts of its parameters can be longer, and positions in them have 32 bits.
constexpr qsizetype MaximumLength = qsizetype(1) << 27;

/// Nested elements below the root.
constexpr qsizetype MaximumDepth = 1024;

/// Attributes of one element, namespace declarations included. The XML reader compares each with every other: up to 100
/// comparisons per character of such an element. A subsplit takes less than one.
constexpr qsizetype MaximumAttributes = 1024;

/// Namespace comparisons per character of the document. The XML reader searches all namespaces in scope for each
/// element and for each attribute with a prefix; the writer of captured elements does so again.
constexpr qsizetype NamespaceComparisonsPerCharacter = 64;
/// Comparing this many characters of a namespace takes as long as one comparison.
constexpr qsizetype CharactersPerComparison = 16;

/// Bytes of memory per character that a document may take in addition to its own text.
constexpr qsizetype GrowthPerCharacter = 40;
/// Shorter documents may grow as if they had this many characters: a short command may contain an entity or two. This
/// takes less than a third of the time of the slowest document of that length without growth.
constexpr qsizetype ShortestLength = 2048;

/// Bytes per character by which an entity is longer than its reference. Entities can thus at most double a document
/// of ShortestLength or more.
constexpr qsizetype EntityGrowth = GrowthPerCharacter;
/// Bytes per quote in an entity: when captured, it becomes six characters, and the writer copies them twice.
constexpr qsizetype QuoteGrowth = 32;
/// Bytes per character of the default attributes' declarations, for each element: a captured quote becomes six
/// characters.
constexpr qsizetype DefaultAttributeGrowth = 16;
/// Bytes per character of a namespace that a captured element declares again, and of the declaration around it.
constexpr qsizetype NamespaceGrowth = 2;
constexpr qsizetype NamespaceDeclarationLength = 24;

/**
 * Walks over a document from one piece of markup to the next.
 *
 * Reads only as much as it needs to tell constructs apart. After a syntax error it may confuse them: the XML reader
 * stops at the error, so the rest costs nothing.
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
        qsizetype attributes = 0; ///< all, namespace declarations included
        qsizetype prefixed = 0; ///< those with a prefix, namespace declarations excluded
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
        // The XML reader accepts any number of them, even inside or after the root element, and keeps all they declare.
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

    /// Stops before its ">", which is then read as text.
    void readEndTag()
    {
        cursor.takeWhile([](char16_t character) { return character != u'>'; });
        namespaces.removeLast();
    }

    /// \return by how many characters \a text grows when its entities are expanded
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
            growth += std::max<qsizetype>(0, entity.length - (name.size() + 2)); // 2: "&" and ";"
            growthLeft -= entity.quotes * QuoteGrowth;
        }
        growthLeft -= growth * EntityGrowth;
        return growth;
    }

    /// Charges the cost of a start tag, and records how many namespaces are in scope inside it.
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
    qsizetype begin = 0; ///< of the construct being read
    QLatin1String excess;
    qsizetype comparisonsLeft;
    qsizetype growthLeft;
    DoctypeMeasure doctype;
    bool rootSeen = false;
    qsizetype longestNamespace = 0;
    QVarLengthArray<qsizetype, 64> namespaces {0}; ///< how many are in scope outside the root, and in each open element
};

} // namespace

DocumentMeasure measureDocument(QStringView document)
{
    return Measuring(document).measure();
}

} // namespace OrvaneInterface
