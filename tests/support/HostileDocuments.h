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
    const auto repeated = [](const QString& text, qsizetype length) { return text.repeated(length / text.size()); };
    const auto numbered = [](const QString& text, qsizetype length) {
        QString all;
        for (int number = 0; all.size() < length; ++number)
            all += text.arg(number);
        return all;
    };
    const auto root = [](const QString& content) { return QStringLiteral("<r>") + content + QStringLiteral("</r>"); };
    const QString letters(size / 2, u'x');

    QString longNames;
    for (int level = 0; level < 16; ++level)
        longNames += u'<' + QString(4096, QChar(u'a' + level)) + QStringLiteral("> ");

    return {
        {"elements inside one another", QStringLiteral("<r>") + repeated(QStringLiteral("<a>"), size)},
        {"elements inside one another with an attribute each",
            QStringLiteral("<r>") + repeated(QStringLiteral("<a b=''>"), size)},
        {"elements inside one another in a paramvalue",
            QStringLiteral("<r><paramvalue>") + repeated(QStringLiteral("<a>"), size)},
        {"long names around many children with an attribute",
            QStringLiteral("<r>") + longNames + repeated(QStringLiteral("<b c=''/>"), size - longNames.size())},
        {"one element with very many attributes",
            root(QStringLiteral("<a") + numbered(QStringLiteral(" b%1=''"), size) + QStringLiteral("/>"))},
        {"a root element with very many attributes",
            QStringLiteral("<r") + numbered(QStringLiteral(" b%1=''"), size) + QStringLiteral("/>")},
        {"elements with as many attributes as are allowed",
            root(repeated(
                QStringLiteral("<a") + numbered(QStringLiteral(" b%1=''"), qsizetype(60) * 7) + QStringLiteral("/>"),
                size))},
        {"very many namespaces that every element looks through",
            QStringLiteral("<r>")
                + repeated(QStringLiteral("<a") + numbered(QStringLiteral(" xmlns:b%1='u'"), qsizetype(7) * 13) + u'>',
                    qsizetype(60) * 93)
                + repeated(QStringLiteral("<b/>"), size)},
        {"very many empty elements", root(repeated(QStringLiteral("<a/>"), size))},
        {"very many elements of different names", root(numbered(QStringLiteral("<a%1/>"), size))},
        {"an element name as long as the document",
            root(u'<' + letters + u'>' + QStringLiteral("</") + letters + u'>')},
        {"one text of quotes in a paramvalue",
            root(QStringLiteral("<paramvalue>") + QString(size, u'"') + QStringLiteral("</paramvalue>"))},
        {"paramvalues one after the other", root(repeated(QStringLiteral("<paramvalue>\"\"\"\"</paramvalue>"), size))},
        {"a long namespace that every element of a paramvalue writes again",
            QStringLiteral("<r xmlns:p='") + letters + QStringLiteral("'><paramvalue>")
                + repeated(QStringLiteral("<a p:b=''/>"), size / 2) + QStringLiteral("</paramvalue></r>")},
        {"a long entity that is referred to again and again",
            QStringLiteral("<!DOCTYPE r [<!ENTITY e '") + QString(900, u'x') + QStringLiteral("'>]>")
                + root(QStringLiteral("<a>") + repeated(QStringLiteral("&e;"), size) + QStringLiteral("</a>"))},
        {"entities made of entities",
            QStringLiteral("<!DOCTYPE r [<!ENTITY a 'xxxxxxxxxxxxxxxx'><!ENTITY b '&a;&a;&a;&a;&a;&a;&a;&a;'>"
                           "<!ENTITY c '&b;&b;&b;&b;&b;&b;&b;&b;'><!ENTITY d '&c;&c;&c;'>]>")
                + root(repeated(QStringLiteral("<a b='&d;'>&d;</a>"), size))},
        {"a document type made of parameter entities",
            QStringLiteral("<!DOCTYPE r [<!ENTITY % e '") + QString(2000, u' ') + QStringLiteral("'>")
                + repeated(QStringLiteral("%e;"), size) + QStringLiteral("]><r/>")},
        {"very many declarations of entities",
            QStringLiteral("<!DOCTYPE r [") + numbered(QStringLiteral("<!ENTITY e%1 ''>"), size)
                + QStringLiteral("]><r/>")},
        {"a long default attribute that every element has",
            QStringLiteral("<!DOCTYPE r [<!ATTLIST a b CDATA '") + QString(900, u'x') + QStringLiteral("'>]>")
                + root(repeated(QStringLiteral("<a/>"), size))},
        {"many default attributes that every element has",
            QStringLiteral("<!DOCTYPE r [<!ATTLIST a") + numbered(QStringLiteral(" b%1 CDATA ''"), 450)
                + QStringLiteral("><!ATTLIST a") + numbered(QStringLiteral(" c%1 CDATA ''"), 450)
                + QStringLiteral(">]>") + root(repeated(QStringLiteral("<a/>"), size))},
        {"many default attributes of other elements",
            QStringLiteral("<!DOCTYPE r [<!ATTLIST b") + numbered(QStringLiteral(" b%1 CDATA ''"), 450)
                + QStringLiteral("><!ATTLIST b") + numbered(QStringLiteral(" c%1 CDATA ''"), 450)
                + QStringLiteral(">]>") + root(repeated(QStringLiteral("<a/>"), size))},
    };
}
