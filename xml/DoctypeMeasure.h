#pragma once

#include "MarkupCursor.h"

#include <QLatin1String>
#include <QStringView>

#include <algorithm>
#include <vector>

namespace OrvaneInterface {

/**
 * What a document type declaration can add to the cost of its document.
 *
 * Declarations can make an XML document arbitrarily expensive: entities made of entities, empty entities, declarations
 * that are compared with each other. No client of the protocol needs them. Hence one rule: a declaration is short, and
 * nothing in its internal subset contains references or markup. Entities then expand to at most their literal text,
 * without tags, and the XML reader has few characters of declaration to process.
 */
class DoctypeMeasure {
public:
    struct Entity {
        QStringView name;
        qsizetype length = 0; ///< of its text, in characters
        qsizetype quotes = 0; ///< among them
    };

    DoctypeMeasure() = default;

    /// \a rest is a document from its "<!DOCTYPE" on.
    explicit DoctypeMeasure(QStringView rest)
    {
        const QStringView text = rest.first(std::min(rest.size(), MaximumLength));
        MarkupCursor cursor(text);
        constexpr QStringView externalIdEnds = u"'\"[>"; // an external identifier may quote anything
        for (takeUpTo(cursor, externalIdEnds); cursor.atQuote(); takeUpTo(cursor, externalIdEnds))
            cursor.takeQuoted(MarkupCursor::isAny);
        if (cursor.take(u'['))
            readSubset(cursor);
        const bool isWhole = cursor.skipBehind(u">");
        length = text.size() - cursor.rest().size();
        if (!isWhole && excess.isNull() && rest.size() > MaximumLength)
            excess = QLatin1String("Its document type declaration is too long");
    }

    /// The longest entity with that name; of length 0 if none is declared.
    Entity entity(QStringView name) const
    {
        Entity longest;
        for (const Entity& candidate : entities) {
            if (candidate.name == name && candidate.length >= longest.length)
                longest = candidate;
        }
        return longest;
    }

    qsizetype length = 0; ///< in characters; up to the end of the document if the declaration is malformed
    QLatin1String excess; ///< human-readable; null if there is none
    std::vector<Entity> entities;
    qsizetype defaultAttributes = 0; ///< the most that one element can get, namespaces included
    qsizetype defaultAttributesLength = 0; ///< of their declarations, in characters

private:
    /// In characters. A declaration that only names a document type is much shorter.
    static constexpr qsizetype MaximumLength = 1024;

    static QStringView takeUpTo(MarkupCursor& cursor, QStringView ends)
    {
        return cursor.takeWhile([ends](char16_t c) { return std::find(ends.begin(), ends.end(), c) == ends.end(); });
    }

    /// Refuses \a text if it contains one of \a characters.
    void refuse(QStringView characters, QStringView text)
    {
        if (std::find_first_of(text.cbegin(), text.cend(), characters.cbegin(), characters.cend()) != text.cend())
            excess = QLatin1String("A reference or markup in its document type declaration");
    }

    void readSubset(MarkupCursor& cursor)
    {
        while (!cursor.atEnd() && !cursor.at(u']')) {
            if (cursor.take(u"<!--"))
                cursor.skipBehind(u"-->");
            else if (cursor.at(u"<?"))
                cursor.skipBehind(u"?>");
            else if (cursor.at(u'<'))
                readDeclaration(cursor);
            else
                refuse(u"%", takeUpTo(cursor, u"<]"));
        }
    }

    void readDeclaration(MarkupCursor& cursor)
    {
        constexpr QStringView entity = u"<!ENTITY";
        const bool isEntity = cursor.at(entity);
        const bool isAttributeList = cursor.at(u"<!ATTLIST");
        const auto read = [&cursor, rest = cursor.rest()] { return rest.chopped(cursor.rest().size()); };
        for (;;) {
            refuse(u"%", takeUpTo(cursor, u"'\">"));
            if (!cursor.atQuote())
                break;
            // If more than the entity's name precedes it, it is an external identifier: not the text, but its location.
            const QStringView before = read().mid(entity.size()).trimmed();
            const QStringView literal = cursor.takeQuoted(MarkupCursor::isAny);
            refuse(u"&%<", literal);
            if (isEntity)
                entities.push_back({before, literal.size(), literal.count(u'"')});
            else if (isAttributeList)
                ++defaultAttributes;
        }
        cursor.skipBehind(u">");
        if (isAttributeList)
            defaultAttributesLength += read().size();
    }
};

} // namespace OrvaneInterface
