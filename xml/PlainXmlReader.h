#pragma once

#include "MarkupCursor.h"

#include <QStringView>
#include <QVarLengthArray>

#include <algorithm>

namespace OrvaneInterface {

/**
 * Reads the tokens of plain documents, in place and without a copy; for all others there is QXmlStreamReader, which is
 * what says what a document means.
 *
 * Plain is what nearly all clients send: perhaps an XML declaration, elements, attributes and text; names in ASCII, a
 * prefix for the root alone, no references, no carriage return. Whatever it does not know for certain makes it decline:
 * then the document is to be read anew, by the other one. It may decline what is plain, but never reads what is not,
 * and never reads anything differently. So an error of the document is never its business.
 *
 * It has the operations of QXmlStreamReader that the walk through a document needs. Takes time in proportion to the
 * length, and no memory but for open elements. Thread: any one at a time.
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
        // The cursor takes a carriage return for white space, and QXmlStreamReader changes it.
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
    /// Whether the document is to be read by another reader; what has been read of it says nothing then.
    bool hasDeclined() const { return token == Token::Declined; }
    /// Declines by the wish of who reads.
    void decline() { token = Token::Declined; }

    bool isStartElement() const { return token == Token::StartElement; }
    bool isEndElement() const { return token == Token::EndElement; }
    bool isCharacters() const { return token == Token::Characters; }

    /// Of a start tag: without the prefix.
    QStringView name() const { return localName; }
    QStringView text() const { return characters; }
    /// Of a start tag.
    const Attributes& attributes() const { return attributeList; }

private:
    enum class Token : quint8 { None, StartElement, EndElement, Characters, End, Declined };

    /// More are compared with one another for too long, or are too deep, for a command that somebody has a use for.
    static constexpr qsizetype MostAttributes = 16;
    static constexpr qsizetype MostOpenElements = 64;
    /// The other reader may not read longer ones.
    static constexpr qsizetype LongestName = 1000;
    /// Longer ones are for the other reader, which is given none that is refused for its length.
    static constexpr qsizetype LongestDocument = qsizetype(1) << 26;

    static constexpr auto isNameStart = [](char16_t character) {
        return (character >= u'a' && character <= u'z') || (character >= u'A' && character <= u'Z')
            || character == u'_';
    };

    static constexpr auto isNamePart = [](char16_t character) {
        return isNameStart(character) || (character >= u'-' && character <= u'9' && character != u'/');
    };

    /// In a value a line break or a tab would become a blank. Beyond ASCII all of the basic plane is plain, but for
    /// surrogates and what is no character of XML.
    static constexpr auto isValuePart = [](char16_t character) {
        return (character >= u' ' && character < u'\x7F' && character != u'<' && character != u'&')
            || (character > u'\x7F' && character < 0xD800) || (character >= 0xE000 && character < 0xFFFE);
    };

    /// A bracket could begin what must not stand in a text.
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

    /// Whether parts of a name are one.
    static bool isName(QStringView parts)
    {
        return !parts.isEmpty() && parts.size() <= LongestName && isNameStart(parts.front().unicode());
    }

    /// Names of one length mostly differ in their last character.
    bool isNewAttribute(QStringView name) const
    {
        return std::none_of(attributeList.cbegin(), attributeList.cend(), [name](const Attribute& other) {
            return other.name().size() == name.size() && other.name().back() == name.back() && other.name() == name;
        });
    }

    /// Of a root element: nothing is declared but its own prefix, and the namespace of names without one.
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
            // Some names are reserved, and may not be declared, or as something else.
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
