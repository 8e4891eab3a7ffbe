#pragma once

#include <QLatin1String>
#include <QStringView>

#include <vector>

namespace OrvaneInterface {

/**
 * What a document type declaration can do to the price of its document.
 *
 * Declarations are where an XML document can be made to cost anything: entities made of entities, entities that stand
 * for nothing, declarations that are compared with each other. No client of the protocol needs them. So one rule holds:
 * a declaration is short, and nothing in its internal subset refers to anything or holds markup. Then an entity stands
 * for no more characters than are written here, none of them a tag, and whatever the XML reader does with the
 * declaration itself it does with few characters.
 */
struct DoctypeMeasure {
    struct Entity {
        QStringView name;
        qsizetype length = 0; ///< of its text, in characters
        qsizetype quotes = 0; ///< among them
    };

    qsizetype length = 0; ///< in characters; with an error in the declaration up to the end of the document
    QLatin1String excess; ///< what is too much, in words for a person; null when nothing is
    std::vector<Entity> entities;
    qsizetype defaultAttributes = 0; ///< the most that one element can be given, namespaces included
    qsizetype defaultAttributesLength = 0; ///< of what declares them, in characters

    /// The longest of that name; without text where none is declared.
    Entity entity(QStringView name) const;
};

/// \a rest is a document from its "<!" on.
DoctypeMeasure measureDoctype(QStringView rest);

} // namespace OrvaneInterface
