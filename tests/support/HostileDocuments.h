#pragma once

#include <QList>
#include <QString>

/// A document that is short for what it asks of its reader.
struct HostileDocument {
    const char* shape; ///< reads as a sentence about the document
    QString text;
};

/// One document of each shape, each about \a size characters long.
inline QList<HostileDocument> hostileDocuments(qsizetype size)
{
    using namespace Qt::StringLiterals;
    const auto repeated = [](const QString& text, qsizetype length) { return text.repeated(length / text.size()); };
    const auto numbered = [](const QString& text, qsizetype length) {
        QString all;
        for (int number = 0; all.size() < length; ++number)
            all += text.arg(number);
        return all;
    };
    const auto root = [](const QString& content) { return u"<r>"_s + content + u"</r>"_s; };
    const auto withSubset = [](const QString& subset, const QString& rest) {
        return u"<!DOCTYPE r ["_s + subset + u"]>"_s + rest;
    };
    const auto paramValue = [](const QString& content) { return u"<paramvalue>"_s + content + u"</paramvalue>"_s; };
    const QString letters(size / 2, u'x');
    const QString empty = u"<r/>"_s;
    // The host's thread would never come back: each entity is the one before it three times, and all are nothing.
    QString nothing = u"<!ENTITY e0 ''>"_s;
    for (int level = 1; level < 30; ++level)
        nothing += u"<!ENTITY e%1 '&e%2;&e%2;&e%2;'>"_s.arg(level).arg(level - 1);
    QString parameterEntities = u"<!ENTITY % e0 ''>"_s;
    for (int level = 1; level < 30; ++level)
        parameterEntities += u"<!ENTITY % e%1 '%e%2;%e%2;%e%2;'>"_s.arg(level).arg(level - 1);

    QString longNames;
    for (int level = 0; level < 16; ++level)
        longNames += u'<' + QString(size / 256, QChar(u'a' + level)) + u"> "_s;
    const QString uri(190, u'u');
    const QString thousandAttributes = u"<a"_s + numbered(u" b%1=''"_s, 7890) + u"/>"_s;
    const QString hundredNamespaces = numbered(u" xmlns:n%1='u%1'"_s, 1700);

    return {
        {"elements inside one another", u"<r>"_s + repeated(u"<a>"_s, size)},
        {"elements inside one another with an attribute each", u"<r>"_s + repeated(u"<a b=''>"_s, size)},
        {"elements inside one another in a paramvalue", u"<r><paramvalue>"_s + repeated(u"<a>"_s, size)},
        {"long names around many children with an attribute",
            u"<r>"_s + longNames + repeated(u"<b c=''/>"_s, size - longNames.size())},
        {"one element with very many attributes", root(u"<a"_s + numbered(u" b%1=''"_s, size) + u"/>"_s)},
        {"a root element with very many attributes", u"<r"_s + numbered(u" b%1=''"_s, size) + u"/>"_s},
        {"elements with a thousand attributes each", root(repeated(thousandAttributes, size))},
        {"elements with a thousand attributes each in a paramvalue",
            root(paramValue(repeated(thousandAttributes, size)))},
        {"a hundred namespaces that every element looks through",
            u"<r"_s + hundredNamespaces + u'>' + repeated(u"<b/>"_s, size) + u"</r>"_s},
        {"very many namespaces that every element looks through",
            u"<r>"_s + numbered(u"<a xmlns:n%1='u'>"_s, size / 2) + repeated(u"<b/>"_s, size / 2)},
        {"a hundred namespaces that every attribute of a paramvalue is looked for in",
            u"<r"_s + hundredNamespaces + u'>' + paramValue(repeated(u"<a n0:b=''/>"_s, size)) + u"</r>"_s},
        {"attributes of one name in a hundred long namespaces",
            u"<r"_s + numbered(u" xmlns:n%1='"_s + uri + u"%1'"_s, 13500) + u'>'
                + paramValue(repeated(u"<a"_s + numbered(u" n%1:b=''"_s, 900) + u"/>"_s, size)) + u"</r>"_s},
        {"very many empty elements", root(repeated(u"<a/>"_s, size))},
        {"very many elements of different names", root(numbered(u"<a%1/>"_s, size))},
        {"an element name as long as the document", root(u'<' + letters + u'>' + u"</"_s + letters + u'>')},
        {"one text of quotes in a paramvalue", root(paramValue(QString(size, u'"')))},
        {"paramvalues one after the other", root(repeated(paramValue(u"\"\"\"\""_s), size))},
        {"a namespace that every element of a paramvalue writes again",
            u"<r xmlns:p='"_s + uri + u"'>"_s + paramValue(repeated(u"<a p:b=''/>"_s, size)) + u"</r>"_s},
        {"a long namespace that every element of a paramvalue writes again",
            u"<r xmlns:p='"_s + letters + u"'>"_s + paramValue(repeated(u"<a p:b=''/>"_s, size / 2)) + u"</r>"_s},
        {"character references", root(u"<a>"_s + repeated(u"&#38;"_s, size) + u"</a>"_s)},
        {"an entity for nothing that is referred to again and again",
            withSubset(u"<!ENTITY e ''>"_s, root(u"<a>"_s + repeated(u"&e;"_s, size) + u"</a>"_s))},
        {"an entity of quotes in a paramvalue",
            withSubset(u"<!ENTITY e '\"\"\"'>"_s, root(paramValue(repeated(u"&e;"_s, size))))},
        {"an entity of quotes in one attribute of a paramvalue",
            withSubset(u"<!ENTITY e '\"\"\"'>"_s, root(paramValue(u"<a b='"_s + repeated(u"&e;"_s, size) + u"'/>"_s)))},
        {"an entity in a paramvalue that doubles the document",
            withSubset(u"<!ENTITY e 'sixsix'>"_s, root(paramValue(repeated(u"&e;"_s, size))))},
        {"an entity of quotes in one attribute of a paramvalue that doubles the document",
            withSubset(
                u"<!ENTITY e '\"\"\"\"\"\"'>"_s, root(paramValue(u"<a b='"_s + repeated(u"&e;"_s, size) + u"'/>"_s)))},
        {"a long entity that is referred to again and again",
            withSubset(u"<!ENTITY e '"_s + QString(900, u'x') + u"'>"_s,
                root(u"<a>"_s + repeated(u"&e;"_s, size) + u"</a>"_s))},
        {"entities made of entities",
            withSubset(u"<!ENTITY a 'xxxxxxxxxxxxxxxx'><!ENTITY b '&a;&a;&a;&a;&a;&a;&a;&a;'>"
                       u"<!ENTITY c '&b;&b;&b;&b;&b;&b;&b;&b;'><!ENTITY d '&c;&c;&c;'>"_s,
                root(repeated(u"<a b='&d;'>&d;</a>"_s, size)))},
        {"entities made of entities for nothing", withSubset(nothing, root(u"<a>&e29;</a>"_s + letters))},
        {"entities made of entities for nothing, in an attribute",
            withSubset(nothing, root(u"<a b='&e29;'/>"_s + letters))},
        {"parameter entities made of parameter entities", withSubset(parameterEntities + u"%e29;"_s, root(letters))},
        {"a parameter entity that is referred to again and again",
            withSubset(u"<!ENTITY % e '"_s + QString(2000, u' ') + u"'>"_s + repeated(u"%e;"_s, size), empty)},
        {"two document types, and a long entity in the first one",
            withSubset(u"<!ENTITY e '"_s + QString(900, u'"') + u"'>"_s,
                u"<!DOCTYPE r>"_s + root(u"<a>"_s + repeated(u"&e;"_s, size) + u"</a>"_s))},
        {"a document type inside the root, and a long entity before it",
            withSubset(u"<!ENTITY e '"_s + QString(900, u'"') + u"'>"_s,
                root(u"<!DOCTYPE r><a>"_s + repeated(u"&e;"_s, size) + u"</a>"_s))},
        {"very many document types behind the root",
            empty + numbered(u"<!DOCTYPE r [<!ATTLIST a b%1 ID ''>]>"_s, size)},
        {"very many document types with a default attribute each",
            numbered(u"<!DOCTYPE r [<!ATTLIST a b%1 ID ''>]>"_s, size) + empty},
        {"very many declarations of entities", withSubset(numbered(u"<!ENTITY e%1 ''>"_s, size), empty)},
        {"very many declarations of notations", withSubset(numbered(u"<!NOTATION e%1 PUBLIC ''>"_s, size), empty)},
        {"very many attributes in one declaration",
            withSubset(u"<!ATTLIST a"_s + numbered(u" b%1 ID ''"_s, size) + u'>', empty)},
        {"very many declarations of one attribute", withSubset(numbered(u"<!ATTLIST a b%1 ID ''>"_s, size), empty)},
        {"a content model inside a content model",
            withSubset(u"<!ELEMENT r "_s + QString(size / 2, u'(') + u'a' + QString(size / 2, u')') + u'>', empty)},
        {"comments in the document type declaration", withSubset(repeated(u"<!-- -->"_s, size), empty)},
        {"processing instructions in the document type declaration", withSubset(repeated(u"<?a?>"_s, size), empty)},
        {"a default attribute that every element has",
            withSubset(u"<!ATTLIST a b CDATA 'x'>"_s, root(repeated(u"<a>123456789</a>"_s, size)))},
        {"a long default attribute that every element has",
            withSubset(u"<!ATTLIST a b CDATA '"_s + QString(900, u'"') + u"'>"_s,
                root(paramValue(repeated(u"<a/>"_s, size))))},
        {"many default attributes that every element has",
            withSubset(u"<!ATTLIST a"_s + numbered(u" b%1 CDATA ''"_s, 950) + u'>', root(repeated(u"<a/>"_s, size)))},
        {"many default attributes of other elements",
            withSubset(u"<!ATTLIST b"_s + numbered(u" b%1 CDATA ''"_s, 950) + u'>', root(repeated(u"<a/>"_s, size)))},
        {"default namespaces of elements inside one another",
            withSubset(u"<!ATTLIST a"_s + numbered(u" xmlns:n%1 CDATA 'u'"_s, 900) + u'>',
                root(u"<a>"_s.repeated(1000) + repeated(u"<b/>"_s, size)))},
    };
}
