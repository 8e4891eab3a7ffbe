#include "PlainXmlReader.h"

#include <algorithm>

namespace OrvaneInterface {

namespace {

/// More of them are compared with one another for too long, or are too deep, for a command that somebody has a use for.
constexpr qsizetype MostAttributes = 16;
constexpr qsizetype MostOpenElements = 64;
constexpr qsizetype LongestName = 1000;
constexpr qsizetype LongestDocument = qsizetype(1) << 26;

constexpr bool isNameStart(char16_t character)
{
    return (character >= u'a' && character <= u'z') || (character >= u'A' && character <= u'Z') || character == u'_';
}

constexpr bool isNamePart(char16_t character)
{
    return isNameStart(character) || (character >= u'-' && character <= u'9' && character != u'/');
}

/// In a value a line break or a tab would become a blank. Beyond ASCII all of the basic plane is plain, but for
/// surrogates and what is no character of XML.
constexpr bool isValuePart(char16_t character)
{
    return (character >= u' ' && character < u'\x7F' && character != u'<' && character != u'&')
        || (character > u'\x7F' && character < 0xD800) || (character >= 0xE000 && character < 0xFFFE);
}

/// A bracket could begin what must not stand in a text.
constexpr bool isTextPart(char16_t character)
{
    return (isValuePart(character) && character != u']') || character == u'\t' || character == u'\n';
}

/// Whether parts of a name are one.
bool isName(QStringView parts)
{
    return !parts.isEmpty() && parts.size() <= LongestName && isNameStart(parts.front().unicode());
}

} // namespace

PlainXmlReader::PlainXmlReader(QStringView document)
    : cursor(document)
{
    // The cursor takes a carriage return for white space, and QXmlStreamReader changes it.
    if (document.size() > LongestDocument || document.contains(u'\r') || !readDeclaration())
        decline();
}

void PlainXmlReader::readNext()
{
    if (!atEnd())
        token = readToken();
}

PlainXmlReader::Token PlainXmlReader::readToken()
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
    if (!cursor.take(u'<'))
        return openElements.isEmpty() ? Token::Declined : readText();
    return cursor.take(u'/') ? readEndTag() : readStartTag();
}

PlainXmlReader::Token PlainXmlReader::readStartTag()
{
    const bool isRoot = openElements.isEmpty();
    if ((isRoot && isRootRead) || openElements.size() == MostOpenElements)
        return Token::Declined;
    isRootRead = true;
    const auto mayBeInName = [isRoot](char16_t next) { return isNamePart(next) || (isRoot && next == u':'); };
    const QStringView name = cursor.takeWhile(mayBeInName);
    attributeList.clear();
    for (Attribute next; cursor.skipSpace() && cursor.takeAttribute(next, mayBeInName, isValuePart);) {
        if (!isNewAttribute(next.name()) || attributeList.size() == MostAttributes
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

/// Names of one length mostly differ in their last character.
bool PlainXmlReader::isNewAttribute(QStringView name) const
{
    return isName(name) && std::none_of(attributeList.cbegin(), attributeList.cend(), [name](const Attribute& other) {
        return other.name().size() == name.size() && other.name().back() == name.back() && other.name() == name;
    });
}

/// Nothing is declared but its own prefix, and the namespace of names without one.
bool PlainXmlReader::isPlainRoot(QStringView rootName) const
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

PlainXmlReader::Token PlainXmlReader::readEndTag()
{
    if (openElements.isEmpty() || !cursor.take(openElements.last()))
        return Token::Declined;
    cursor.skipSpace();
    openElements.removeLast();
    return cursor.take(u'>') ? Token::EndElement : Token::Declined;
}

PlainXmlReader::Token PlainXmlReader::readText()
{
    characters = cursor.takeWhile(isTextPart);
    return cursor.at(u'<') ? Token::Characters : Token::Declined;
}

/// \return false for one that is not plain
bool PlainXmlReader::readDeclaration()
{
    if (!cursor.take(u"<?xml"))
        return true;
    if (!cursor.take(u" version=\"1.0\""))
        return false;
    if (cursor.take(u" encoding=") && !cursor.take(u"\"UTF-8\"") && !cursor.take(u"\"utf-8\""))
        return false;
    return cursor.take(u"?>");
}

} // namespace OrvaneInterface
