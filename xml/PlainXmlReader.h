#pragma once

#include "MarkupCursor.h"

#include <QStringView>
#include <QVarLengthArray>

#include <algorithm>

namespace OrvaneInterface {

/**
 * Reads the tokens of plain documents in place, without a copy. QXmlStreamReader reads all others, and defines what a
 * document means.
 *
 * Nearly all clients send plain documents: an optional XML declaration, elements, attributes and text; ASCII names, a
 * prefix only on the root, no references, no carriage return. If it is not certain, it declines, and the other reader
 * must start over. It may decline a plain document, but never reads any other, and never reads one differently. It
 * never reports errors; it declines.
 *
 * It has the operations of QXmlStreamReader that ParameterWalk needs. Takes time proportional to the length, and memory
 * only for open elements. Thread: any, one at a time.
 */
class PlainXmlReader {
    Q_DISABLE_COPY_MOVE(PlainXmlReader)

public:
    using Attribute = MarkupCursor::Attribute;
    using Attributes = QVarLengthArray<Attribute, 8>;

    /// \a document must outlive this object.
    explicit PlainXmlReader(QStringView document)
        : cursor(document)
    {
        // The cursor takes a carriage return for white space; QXmlStreamReader changes it.
        if (document.size() > LongestDocument || document.contains(u'\r'))
            decline();
        if (!cursor.take(u"<?xml version=\"1.0\""))
            return;
        if (!cursor.take(u" encoding=\"UTF-8\""))
            cursor.take(u" encoding=\"utf-8\"");
        if (!cursor.take(u"?>"))
            decline();
    }

    void readNext() { token = atEnd() ? token : readToken(); }
    bool atEnd() const { return token == Token::End || token == Token::Declined; }
    /// Whether another reader must read the document; what was read so far is then meaningless.
    bool hasDeclined() const { return token == Token::Declined; }
    /// Declines at the caller's request.
    void decline() { token = Token::Declined; }

    bool isStartElement() const { return token == Token::StartElement; }
    bool isEndElement() const { return token == Token::EndElement; }
    bool isCharacters() const { return token == Token::Characters; }

    /// Of a start tag, without the prefix.
    QStringView name() const { return localName; }
    QStringView text() const { return characters; }
    /// Of a start tag.
    const Attributes& attributes() const { return attributeList; }

private:
    enum class Token : quint8 { None, StartElement, EndElement, Characters, End, Declined };

    /// Comparing more attributes takes too long; no useful command has so many, or such depth.
    static constexpr qsizetype MostAttributes = 16;
    static constexpr qsizetype MostOpenElements = 64;
    /// The other reader may not accept longer ones.
    static constexpr qsizetype LongestName = 1000;
    /// Longer ones go to the other reader, unless they are refused for their length.
    static constexpr qsizetype LongestDocument = qsizetype(1) << 26;

    static constexpr auto isNameStart = [](char16_t character) {
        return (character >= u'a' && character <= u'z') || (character >= u'A' && character <= u'Z')
            || character == u'_';
    };

    static constexpr auto isNamePart = [](char16_t character) {
        return isNameStart(character) || (character >= u'-' && character <= u'9' && character != u'/');
    };

    /// In a value, a line break or a tab would become a space. Beyond ASCII, the whole basic plane is plain, except
    /// surrogates and characters that XML forbids.
    static constexpr auto isValuePart = [](char16_t character) {
        return (character >= u' ' && character < u'\x7F' && character != u'<' && character != u'&')
            || (character > u'\x7F' && character < 0xD800) || (character >= 0xE000 && character < 0xFFFE);
    };

    /// A bracket could begin "]]>", which XML forbids in a text.
    static constexpr auto isTextPart = [](char16_t character) {
        return (isValuePart(character) && character != u']') || character == u'\t' || character == u'\n';
    };

    Token readToken()
    {
        if (isEmptyElement) {
            isEmptyElement = false;
            openElements.removeLast();
            return Token::EndElement;
        }
        if (openElements.isEmpty())
            cursor.skipSpace();
        if (cursor.atEnd())
            return isRootRead && openElements.isEmpty() ? Token::End : Token::Declined;
        if (cursor.take(u'<'))
            return cursor.take(u'/') ? readEndTag() : readStartTag();
        characters = cursor.takeWhile(isTextPart);
        return cursor.at(u'<') && !openElements.isEmpty() ? Token::Characters : Token::Declined;
    }

    Token readStartTag()
    {
        const bool isRoot = openElements.isEmpty();
        if ((isRoot && isRootRead) || openElements.size() == MostOpenElements)
            return Token::Declined;
        isRootRead = true;
        const auto mayBeInName = [isRoot](char16_t next) { return isNamePart(next) || (isRoot && next == u':'); };
        const QStringView name = cursor.takeWhile(mayBeInName);
        attributeList.clear();
        for (Attribute next; cursor.skipSpace() && cursor.takeAttribute(next, mayBeInName, isValuePart);) {
            if (!isName(next.name()) || !isNewAttribute(next.name()) || attributeList.size() == MostAttributes
                || (!isRoot && next.name() == u"xmlns"))
                return Token::Declined;
            attributeList.append(next);
        }
        isEmptyElement = cursor.take(u'/');
        if (!cursor.take(u'>') || !isName(name) || (isRoot && !isPlainRoot(name)))
            return Token::Declined;
        localName = name.sliced(isRoot ? name.indexOf(u':') + 1 : 0);
        openElements.append(name);
        return Token::StartElement;
    }

    Token readEndTag()
    {
        if (openElements.isEmpty() || !cursor.take(openElements.last()))
            return Token::Declined;
        cursor.skipSpace();
        openElements.removeLast();
        return cursor.take(u'>') ? Token::EndElement : Token::Declined;
    }

    /// Whether \a parts, all of them name characters, form a name.
    static bool isName(QStringView parts)
    {
        return !parts.isEmpty() && parts.size() <= LongestName && isNameStart(parts.front().unicode());
    }

    /// Names of the same length mostly differ in their last character.
    bool isNewAttribute(QStringView name) const
    {
        return std::none_of(attributeList.cbegin(), attributeList.cend(), [name](const Attribute& other) {
            return other.name().size() == name.size() && other.name().back() == name.back() && other.name() == name;
        });
    }

    /// Whether the root element declares only its own prefix and the default namespace.
    bool isPlainRoot(QStringView rootName) const
    {
        const qsizetype colon = rootName.indexOf(u':');
        const QStringView prefix = rootName.first(std::max<qsizetype>(colon, 0));
        const QStringView local = rootName.sliced(colon + 1);
        bool isDeclared = prefix.isEmpty();
        for (const auto& [name, value] : attributeList) {
            if (!name.startsWith(u"xml") && !name.contains(u':'))
                continue;
            const bool declaresPrefix = !prefix.isEmpty() && name.startsWith(u"xmlns:") && name.sliced(6) == prefix;
            // Some names are reserved: they must not be declared, or not as anything else.
            if ((!declaresPrefix && name != u"xmlns") || value.isEmpty() || value.startsWith(u"http://www.w3.org/"))
                return false;
            isDeclared = isDeclared || declaresPrefix;
        }
        return isDeclared && isName(local) && !local.contains(u':') && !prefix.startsWith(u"xml");
    }

    MarkupCursor cursor;
    Token token = Token::None;
    bool isEmptyElement = false; ///< its end tag has not been reported yet
    bool isRootRead = false;
    QStringView localName;
    QStringView characters;
    Attributes attributeList;
    QVarLengthArray<QStringView, 16> openElements; ///< their qualified names
};

} // namespace OrvaneInterface
