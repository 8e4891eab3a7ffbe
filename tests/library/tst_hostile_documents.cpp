#include "XmlCommandReader.h"

#include <QtTest>

using namespace Qt::StringLiterals;

/// What is refused as too much, and what is not.
class tst_hostile_documents : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refusesWhole_data();
    void refusesWhole();
    void refusesNothingOrdinary_data();
    void refusesNothingOrdinary();
    void goesOnAfterAnErrorThatComesFirst_data();
    void goesOnAfterAnErrorThatComesFirst();
    void readsAVeryLongListWhole();
};

namespace {

QString numbered(const QString& text, int count)
{
    QString all;
    for (int number = 0; number < count; ++number)
        all += text.arg(number);
    return all;
}

QString withSubset(const QString& subset)
{
    return u"<!DOCTYPE go ["_s + subset + u"]>"_s;
}

/// So many elements inside one another.
QString nested(int depth, const QString& startTag)
{
    return startTag.repeated(depth) + u"</c>"_s.repeated(depth);
}

} // namespace

void tst_hostile_documents::refusesWhole_data()
{
    QTest::addColumn<QString>("prolog");
    QTest::addColumn<QString>("content"); // of the root element
    QTest::addColumn<QString>("reason");

    const QString before = u"<a>1</a>"_s;
    const QString after = u"<b>2</b>"_s;
    const QString attributes = u"One of its elements has too many attributes"_s;
    QTest::newRow("1,025 attributes") << QString()
                                      << before + u"<c"_s + numbered(u" d%1 = '>'"_s, 1025) + u"/>"_s + after
                                      << attributes;
    QTest::newRow("1,025 attributes in a paramvalue")
        << QString() << u"<paramvalue><c"_s + numbered(u" d%1=\"'\""_s, 1025) + u"/></paramvalue>"_s + after
        << attributes;
    QTest::newRow("attributes, declarations and default attributes, 1,025 in all")
        << withSubset(u"<!ATTLIST c x CDATA ''>"_s)
        << u"<c"_s + numbered(u" d%1=''"_s, 1000) + numbered(u" xmlns:n%1='u'"_s, 24) + u"/>"_s << attributes;

    const QString depth = u"Its elements are nested too deep"_s;
    QTest::newRow("1,025 elements inside one another") << QString() << before + nested(1025, u"<c>"_s) + after << depth;
    QTest::newRow("1,025 elements inside one another in a paramvalue")
        << QString() << before + u"<paramvalue>"_s + nested(1024, u"<c>"_s) + u"</paramvalue>"_s << depth;

    const QString namespaces = u"It has too many namespaces for its length"_s;
    QTest::newRow("a thousand namespaces in scope of many short elements")
        << QString() << u"<c"_s + numbered(u" xmlns:n%1='u'"_s, 1000) + u'>' + u"<d/>"_s.repeated(10000) + u"</c>"_s
        << namespaces;
    QTest::newRow("many long namespaces for one name of many attributes")
        << QString()
        << u"<c"_s + numbered(u" xmlns:n%1='"_s + QString(800, u'u') + u"%1'"_s, 100) + u'>'
            + (u"<d"_s + numbered(u" n%1:e=''"_s, 100) + u"/>"_s).repeated(100) + u"</c>"_s
        << namespaces;

    const QString growth = u"Its entities, namespaces or default attributes make the document too large"_s;
    QTest::newRow("an entity that more than doubles the document")
        << withSubset(u"<!ENTITY e 'seven77'>"_s) << u"<c>"_s + u"&e;"_s.repeated(400000) + u"</c>"_s << growth;
    QTest::newRow("two entities of one name, of which the longer one more than doubles the document") << withSubset(
        u"<!ENTITY e 'seven77'><!ENTITY e ''>"_s) << u"<c>"_s + u"&e;"_s.repeated(400000) + u"</c>"_s << growth;
    QTest::newRow("an entity in attributes that more than doubles the document")
        << withSubset(u"<!ENTITY e '12345678901234567890'>"_s) << u"<c d='&e;'/>"_s.repeated(50000) << growth;
    QTest::newRow("a long default attribute of many elements")
        << withSubset(u"<!ATTLIST c d CDATA '"_s + QString(500, u'x') + u"'>"_s) << u"<c/>"_s.repeated(2000) << growth;
    QTest::newRow("a long namespace that many elements of a paramvalue would declare") << QString()
                                                                                       << u"<c xmlns:p='"_s
            + QString(1000, u'u') + u"'> <paramvalue>"_s + u"<d p:e=''/>"_s.repeated(10000) + u"</paramvalue></c>"_s
                                                                                       << growth;

    const QString reference = u"A reference or markup in its document type declaration"_s;
    QTest::newRow("an entity that refers to an entity")
        << withSubset(u"<!ENTITY e ''><!ENTITY f '&e;'>"_s) << before << reference;
    QTest::newRow("a default attribute that refers to an entity")
        << withSubset(u"<!ENTITY e ''><!ATTLIST a b CDATA \"&e;\">"_s) << before << reference;
    QTest::newRow("a parameter entity") << withSubset(u"<!ENTITY % e ''>"_s) << before << reference;
    QTest::newRow("a reference to a parameter entity") << withSubset(u"%e;"_s) << before << reference;
    QTest::newRow("a parameter entity in an entity") << withSubset(u"<!ENTITY e '%f;'>"_s) << before << reference;
    const QString tooMany = u"It has a document type declaration too many"_s;
    QTest::newRow("a second document type that hides the first one")
        << withSubset(u"<!ENTITY e 'x'>"_s) + u"<!DOCTYPE go>"_s << before << tooMany;
    QTest::newRow("a document type behind the root")
        << QString() << before + u"</go><!-- c --><!DOCTYPE go><go>"_s << tooMany;
    QTest::newRow("a document type inside the root") << QString() << u"<!DOCTYPE go>"_s + before << tooMany;
    QTest::newRow("an entity made of elements") << withSubset(u"<!ENTITY e '<d/>'>"_s) << before << reference;
    QTest::newRow("a reference behind a comment and a quote in it")
        << withSubset(u"<!-- ' --><?pi ' ?><!ENTITY e \"'&x;'\">"_s) << before << reference;

    QTest::newRow("a document type declaration of 1,025 characters") << u"<!DOCTYPE go SYSTEM '"_s
            + QString(1025 - 23, u'x') + u"'>"_s << before << u"Its document type declaration is too long"_s;
}

void tst_hostile_documents::refusesWhole()
{
    QFETCH(const QString, prolog);
    QFETCH(const QString, content);
    QFETCH(const QString, reason);

    XmlCommandReader reader;
    QVERIFY(!reader.parseCommand(prolog + u"<go>"_s + content + u"</go>"_s));
    QCOMPARE(reader.refusalReason(), reason);
    QCOMPARE(reader.commandName(),
        content.contains(u"<!DOCTYPE") || !reason.contains(u"type declaration") ? u"go"_s : QString());
    QCOMPARE(reader.allParameters(), (QMap<QString, QString>()));
}

void tst_hostile_documents::refusesNothingOrdinary_data()
{
    QTest::addColumn<QString>("prolog");
    QTest::addColumn<QString>("content"); // of the root element, after which there is one more

    const QString json = uR"({"key": 'value', "tiles < 100": "</go> <!-"}, )"_s.repeated(100);
    QTest::newRow("1,024 attributes") << QString() << u"<c"_s + numbered(u" d%1='>'"_s, 1024) + u"/>"_s;
    QTest::newRow("1,000 attributes with a prefix in a paramvalue")
        << QString() << u"<paramvalue><c xmlns:p='urn:x'"_s + numbered(u" p:d%1=''"_s, 1000) + u"/></paramvalue>"_s;
    QTest::newRow("1,024 elements inside one another") << QString() << nested(1024, u"<c>"_s);
    QTest::newRow("1,000 elements inside one another with a namespace each in a paramvalue") << QString()
                                                                                             << u"<paramvalue>"_s
            + nested(1000, u"<c p:d='' xmlns:p='urn:a-namespace-of-some-length'>"_s) + u"</paramvalue>"_s;
    QTest::newRow("10,000 elements with a prefixed attribute in a paramvalue")
        << QString()
        << u"<paramvalue xmlns:p='http://a.namespace/of/usual/length/as/they/are/2026'>"_s
            + u"<p:x p:a='1'/>"_s.repeated(10000) + u"</paramvalue>"_s;
    const QString declared = numbered(u" xmlns:n%1='http://schemas.of-an-office.example/documents/2006/%1'"_s, 8);
    QTest::newRow("elements with attributes in eight namespaces in a paramvalue") << QString()
                                                                                  << u"<paramvalue"_s + declared + u'>'
            + (u"<x"_s + numbered(u" n%1:x=\"\""_s, 8) + u"/>"_s).repeated(10000) + u"</paramvalue>"_s;
    QTest::newRow("twenty namespaces") << QString()
                                       << u"<c"_s + numbered(u" xmlns:n%1='urn:a-namespace/%1'"_s, 20) + u'>'
            + u"<n3:d n5:e='1' n7:f='2'/>"_s.repeated(1000) + u"</c>"_s;
    QTest::newRow("a CDATA section full of quotes") << QString() << u"<c><![CDATA["_s + json + u"]]></c>"_s;
    QTest::newRow("a comment full of quotes") << QString() << u"<!-- "_s + json + u"-->"_s;
    QTest::newRow("a processing instruction full of quotes") << QString() << u"<?json "_s + json + u"?>"_s;
    QTest::newRow("all of them in a paramvalue")
        << QString() << u"<paramvalue><![CDATA["_s + json + u"]]><!-- ' --><?pi \"?></paramvalue>"_s;
    const QString deep = u"'>"_s + u"<c>"_s.repeated(2000);
    QTest::newRow("what would be too much, where it is only text")
        << QString() << u"<!-- "_s + deep + u"--><?pi "_s + deep + u"?><c><![CDATA[]>"_s + deep + u"]]></c>"_s;
    QTest::newRow("10,000 elements beside one another with a namespace each")
        << QString() << u"<c xmlns:p='u'></c>"_s.repeated(10000);
    QTest::newRow("a document type without internal subset")
        << u"<!DOCTYPE go PUBLIC '-//X//Y' \"http://x/100%25'[>\">"_s << QString();
    QTest::newRow("a document type with a bracket in its address") << u"<!DOCTYPE go SYSTEM '[%'>"_s << QString();
    QTest::newRow("a document type declaration of 1,024 characters")
        << u"<!DOCTYPE go SYSTEM '"_s + QString(1024 - 23, u'x') + u"'>"_s << QString();
    QTest::newRow("all that a plain internal subset can hold") << withSubset(
        u"<!-- 100% & <b> ' --><?pi '&%<' ?><!ELEMENT c (d|(e,f)*)?><!NOTATION n PUBLIC 'x'>"
        u"<!ATTLIST c d (x|y) 'x' e CDATA #FIXED \"z\" f ID #IMPLIED><!ENTITY e \"it's\">"
        u"<!ENTITY f SYSTEM 'x'>"_s) << u"<c/>&e;<c f='&e;'>&e;</c>"_s;
    QTest::newRow("a long entity beside other references") << withSubset(
        u"<!ENTITY e '"_s + QString(100, u'x') + u"'>"_s) << u"<c>&e;"_s + u"&amp;"_s.repeated(9) + u"</c>"_s;
    QTest::newRow("an entity that doubles the document")
        << withSubset(u"<!ENTITY e 'sixsix'>"_s) << u"<c>"_s + u"&e;"_s.repeated(400000) + u"</c>"_s;
    QTest::newRow("references that are none") << withSubset(u"<!ENTITY e '"_s + QString(900, u'x') + u"'>"_s)
                                              << u"<c><![CDATA["_s + u"&e;"_s.repeated(20000) + u"]]></c>"_s;
}

void tst_hostile_documents::refusesNothingOrdinary()
{
    QFETCH(const QString, prolog);
    QFETCH(const QString, content);

    XmlCommandReader reader;
    QVERIFY(reader.parseCommand(prolog + u"<go>"_s + content + u"<last>1</last></go>"_s));
    QVERIFY(reader.refusalReason().isNull());
    QCOMPARE(reader.commandName(), u"go"_s);
    QCOMPARE(reader.stringParameter(u"last"_s), u"1"_s);
}

void tst_hostile_documents::goesOnAfterAnErrorThatComesFirst_data()
{
    QTest::addColumn<QString>("error");
    QTest::newRow("another end tag") << u"</x>"_s;
    QTest::newRow("an attribute without quotes") << u"<b c=1/>"_s;
    QTest::newRow("an entity that nobody declared") << u"&e;"_s;
    QTest::newRow("an entity that nobody declared right before what is too much")
        << u"&e;<b"_s + numbered(u" c%1=''"_s, 1025) + u"/>"_s;
    QTest::newRow("a declaration in the wrong place") << u"<!ENTITY e '"_s;
    QTest::newRow("a blank before the name of an element") << u"< b>"_s;
    QTest::newRow("a start tag in a start tag") << u"<<b>"_s;
    QTest::newRow("a start tag in the name of an element") << u"<b<c>"_s;
    QTest::newRow("markup in an attribute") << u"<b c='<'/>"_s;
    QTest::newRow("a document type in small letters") << u"<!doctype go>"_s;
    QTest::newRow("the end of the root") << u"</go>"_s;
    QTest::newRow("two hyphens in a comment") << u"<!-- -- -->"_s;
}

void tst_hostile_documents::goesOnAfterAnErrorThatComesFirst()
{
    QFETCH(const QString, error);

    XmlCommandReader reader;
    QVERIFY(!reader.parseCommand(u"<go><a>1</a>"_s + error + nested(2000, u"<c>"_s) + u"</go>"_s));
    QVERIFY(reader.refusalReason().isNull());
    QCOMPARE(reader.commandName(), u"go"_s);
    QCOMPARE(reader.allParameters(), (QMap<QString, QString> {{u"a"_s, u"1"_s}}));
}

void tst_hostile_documents::readsAVeryLongListWhole()
{
    constexpr int count = 100000;
    QString document = u"<setDetailViews><subsplits>"_s;
    for (int id = 0; id < count; ++id)
        document += u"<subsplit id='%1' objectid='0' ltx='0' lty='0' rbx='1' rby='1'/>"_s.arg(id);
    document += u"</subsplits></setDetailViews>"_s;

    XmlCommandReader reader;
    QVERIFY(reader.parseCommand(document));
    for (int id = 1; id < count; ++id)
        QCOMPARE(reader.intParameter(u"subsplits/subsplit%1/id"_s.arg(id), -1), id);
    QCOMPARE(reader.stringParameter(u"subsplits/subsplit99999/rby"_s), u"1"_s);
}

QTEST_APPLESS_MAIN(tst_hostile_documents)
#include "tst_hostile_documents.moc"
