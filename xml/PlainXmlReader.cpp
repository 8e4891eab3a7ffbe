#include "PlainXmlReader.h"

#include <algorithm>
#include <array>

namespace OrvaneInterface {

namespace {

/// More of them are compared with one another for too long, or are too deep, for a command that somebody has a use for.
constexpr qsizetype MostAttributes = 16;
constexpr qsizetype MostOpenElements = 64;
constexpr qsizetype LongestName = 1000;
constexpr qsizetype LongestDocument = qsizetype(1) << 26;

enum Class : quint8 {
    NameStart = 1,
    NamePart = 2,
    Space = 4,
    Text = 8, ///< content of an element
    Value = 16, ///< content of an attribute, but for the quote that ends it
};

/// For the characters of ASCII: what each can be part of. What is in no class is not plain.
constexpr std::array<quint8, 128> classes = [] {
    std::array<quint8, 128> table {};
    for (size_t character = u' '; character < table.size(); ++character)
        table.at(character) = Text | Value;
    for (const char16_t character : {u'<', u'&', u']', u'\x7F'})
        table.at(character) = 0;
    table.at(u']') = Value; // in a text it could begin what must not stand there
    for (const char16_t character : {u'\t', u'\n'})
        table.at(character) = Space | Text; // in a value it would become a blank
    table.at(u' ') |= Space;
    for (size_t letter = 0; letter < 26; ++letter) {
        table.at(u'a' + letter) |= NameStart | NamePart;
        table.at(u'A' + letter) |= NameStart | NamePart;
    }
    table.at(u'_') |= NameStart | NamePart;
    for (const char16_t character : u"-.0123456789") {
        if (character != 0)
            table.at(character) |= NamePart;
    }
    return table;
}();

/// Beyond ASCII all of the basic plane, but for surrogates and what is no character of XML.
constexpr bool is(char16_t character, Class which)
{
    if (character < classes.size())
        return (classes[character] & which) != 0;
    constexpr char16_t firstSurrogate = 0xD800;
    constexpr char16_t behindSurrogates = 0xE000;
    constexpr char16_t lastOfXml = 0xFFFD;
    return (which == Text || which == Value)
        && (character < firstSurrogate || (character >= behindSurrogates && character <= lastOfXml));
}

} // namespace

PlainXmlReader::PlainXmlReader(QStringView document)
    : position(document.utf16())
    , end(position + document.size())
{
    if (document.size() > LongestDocument || !readDeclaration())
        token = Token::Declined;
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
        skipSpace();
    if (position == end)
        return isRootRead && openElements.isEmpty() ? Token::End : Token::Declined;
    if (*position != u'<')
        return openElements.isEmpty() ? Token::Declined : readText();
    ++position;
    return take(u'/') ? readEndTag() : readStartTag();
}

PlainXmlReader::Token PlainXmlReader::readStartTag()
{
    const bool isRoot = openElements.isEmpty();
    if ((isRoot && isRootRead) || openElements.size() == MostOpenElements)
        return Token::Declined;
    isRootRead = true;
    const QStringView name = isRoot ? takeQualifiedName() : takeName();
    attributeList.clear();
    while (skipSpace() && position != end && *position != u'/' && *position != u'>') {
        if (!readAttribute(isRoot))
            return Token::Declined;
    }
    isEmptyElement = take(u'/');
    if (name.isEmpty() || !take(u'>') || (isRoot && !hasPlainNamespaces(name)))
        return Token::Declined;
    localName = name.sliced(isRoot ? name.indexOf(u':') + 1 : 0);
    openElements.append(name);
    return Token::StartElement;
}

bool PlainXmlReader::readAttribute(bool mayHavePrefix)
{
    const QStringView name = mayHavePrefix ? takeQualifiedName() : takeName();
    // Names of one length mostly differ in their last character.
    const auto isSame = [name](const Attribute& other) {
        return other.qualifiedName.size() == name.size() && other.qualifiedName.back() == name.back()
            && other.qualifiedName == name;
    };
    if (name.isEmpty() || attributeList.size() == MostAttributes
        || std::any_of(attributeList.cbegin(), attributeList.cend(), isSame) || (!mayHavePrefix && name == u"xmlns"))
        return false;
    if (!take(u'=') && !(skipSpace() && take(u'=')))
        return false;
    if (position != end && is(*position, Space))
        skipSpace();
    if (position == end || (*position != u'"' && *position != u'\''))
        return false;
    const char16_t quote = *position++;
    const QStringView value =
        takeWhile([quote](char16_t character) { return character != quote && is(character, Value); });
    attributeList.append({name, value});
    return take(quote);
}

/// Of the root: nothing is declared but its own prefix, and the namespace of names without one.
bool PlainXmlReader::hasPlainNamespaces(QStringView rootName) const
{
    const qsizetype colon = rootName.indexOf(u':');
    const QStringView prefix = rootName.first(std::max<qsizetype>(colon, 0));
    bool isDeclared = prefix.isEmpty();
    for (const auto& [name, value] : attributeList) {
        if (!name.startsWith(u"xml") && !name.contains(u':'))
            continue;
        const bool declaresPrefix = name.startsWith(u"xmlns:") && name.sliced(6) == prefix;
        // Some names are reserved, and may not be declared, or as something else.
        if ((!declaresPrefix && name != u"xmlns") || value.isEmpty() || value.startsWith(u"http://www.w3.org/"))
            return false;
        isDeclared = isDeclared || declaresPrefix;
    }
    return isDeclared && !prefix.startsWith(u"xml");
}

PlainXmlReader::Token PlainXmlReader::readEndTag()
{
    if (openElements.isEmpty() || !take(openElements.last()))
        return Token::Declined;
    skipSpace();
    openElements.removeLast();
    return take(u'>') ? Token::EndElement : Token::Declined;
}

PlainXmlReader::Token PlainXmlReader::readText()
{
    characters = takeWhile([](char16_t character) { return is(character, Text); });
    return position != end && *position == u'<' ? Token::Characters : Token::Declined;
}

/// \return false for one that is not plain
bool PlainXmlReader::readDeclaration()
{
    if (!take(u"<?xml"))
        return true;
    if (!take(u" version=\"1.0\""))
        return false;
    if (take(u" encoding=") && !take(u"\"UTF-8\"") && !take(u"\"utf-8\""))
        return false;
    return take(u"?>");
}

/// At most \a most characters.
template <typename Predicate> QStringView PlainXmlReader::takeWhile(const Predicate& predicate, qsizetype most)
{
    const char16_t* const start = position;
    const char16_t* const stop = position + std::min<qsizetype>(most, end - position);
    while (position != stop && predicate(*position))
        ++position;
    return {start, position};
}

/// Empty when there is none, or one that is longer than the other reader may read.
QStringView PlainXmlReader::takeName()
{
    if (position == end || !is(*position, NameStart))
        return {};
    const QStringView name = takeWhile([](char16_t character) { return is(character, NamePart); }, LongestName + 1);
    return name.size() <= LongestName ? name : QStringView();
}

QStringView PlainXmlReader::takeQualifiedName()
{
    const QStringView prefix = takeName();
    if (prefix.isEmpty() || !take(u':'))
        return prefix;
    const QStringView local = takeName();
    return local.isEmpty() ? local : QStringView(prefix.utf16(), position);
}

bool PlainXmlReader::take(char16_t character)
{
    const bool isThere = position != end && *position == character;
    position += isThere ? 1 : 0;
    return isThere;
}

bool PlainXmlReader::take(QStringView expected)
{
    const bool isThere = end - position >= expected.size() && QStringView(position, expected.size()) == expected;
    position += isThere ? expected.size() : 0;
    return isThere;
}

/// \return whether there was any
bool PlainXmlReader::skipSpace()
{
    return !takeWhile([](char16_t character) { return is(character, Space); }).isEmpty();
}

} // namespace OrvaneInterface
