#include "ReferenceReading.h"
#include "XmlCommandReader.h"

#include <QtTest>

using namespace Qt::StringLiterals;

/// Plain documents are read as QXmlStreamReader reads them. Whatever may be anything else is declined.
class tst_plain_xml_reader : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsOrDeclines_data();
    void readsOrDeclines();
};

void tst_plain_xml_reader::readsOrDeclines_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<bool>("plain");
    const auto row = [](bool plain, const QString& document) {
        QTest::newRow(qPrintable(document.left(60))) << document << plain;
    };
    const auto withAttributes = [](int count) {
        QString element = u"<r><a"_s;
        for (int number = 0; number < count; ++number)
            element += u" b%1=''"_s.arg(number);
        return element + u"/></r>"_s;
    };
    for (const QString& document :
        {u"<r/>"_s, u"<r></r >"_s, u" \n<r>\n <a>1</a> <a b='2'/>\t</r>\n"_s, u"<?xml version=\"1.0\"?><r/>"_s,
            u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r/>"_s, u"<p:r xmlns:p=\"u\"><a>\u00fc</a></p:r>"_s,
            u"<r xmlns=\"u\"><a/></r>"_s, u"<r><_A-z.0 x = \"]]>'\"\ny='\"'>a>b\"'</_A-z.0></r>"_s,
            u"<r><a/><a/><a>x</a></r>"_s, u"<r>"_s + u"<a>"_s.repeated(63) + u"</a>"_s.repeated(63) + u"</r>"_s,
            withAttributes(16), u"<r><a>"_s + u"text "_s.repeated(100000) + u"</a></r>"_s})
        row(true, document);
    for (const QString& document : {u""_s, u"x"_s, u"<r>"_s, u"<r/><r/>"_s, u"<r/>x"_s, u"x<r/>"_s, u"\ufeff<r/>"_s,
             u" <?xml version=\"1.0\"?><r/>"_s, u"<?xml?><r/>"_s, u"<?xml version=\"1.1\"?><r/>"_s,
             u"<?xml version='1.0'?><r/>"_s, u"<?p?><r/>"_s, u"<!-- --><r/>"_s, u"<!DOCTYPE r><r/>"_s,
             u"<r><![CDATA[]]></r>"_s, u"<r>\n<a/><a>1</a><!-- --></r>"_s, u"<r>&amp;</r>"_s, u"<r>\r</r>"_s,
             u"<r>]]></r>"_s, u"<r>\U0001F600</r>"_s, u"<r>\ufffe</r>"_s, u"<r>\uffff</r>"_s, u"<r>\x01</r>"_s,
             u"<r><a b=''c=''/></r>"_s, u"<r><a b='' b=''/></r>"_s, u"<r><a b='\n'/></r>"_s, u"<r><a b='&lt;'/></r>"_s,
             u"<r><a b='<'/></r>"_s, u"<r><a b/></r>"_s, u"<r><a b=c/></r>"_s, u"<r><a b='c/></r>"_s,
             u"<r><a></b></r>"_s, u"<r></s>"_s, u"<r><a></r></a>"_s, u"<r></r"_s, u"<r/ >"_s, u"</r>"_s, u"<1/>"_s,
             u"<r><\u00fc/></r>"_s, u"<r><p:a/></r>"_s, u"<p:r/>"_s, u"<p:r xmlns:q='u'/>"_s, u"<r xmlns:q='u'/>"_s,
             u"<p:r xmlns:p=''/>"_s, u"<p:r xmlns:p='u'></r>"_s, u"<xml:r/>"_s, u"<xmlns:r xmlns:xmlns='u'/>"_s,
             u"<r xml:a=''/>"_s, u"<r q:a=''/>"_s, u"<r xmlns='http://www.w3.org/2000/xmlns/'/>"_s,
             u"<r><a xmlns='u'/></r>"_s, u"<r><paramvalue>x</paramvalue></r>"_s,
             u"<r> <a> <paramvalue><paramvalue/></paramvalue></a><b>3</b></r>"_s,
             u"<r>"_s + u"<a>"_s.repeated(64) + u"</a>"_s.repeated(64) + u"</r>"_s, withAttributes(17),
             u"<"_s + u"n"_s.repeated(1001) + u"/>"_s})
        row(false, document);
}

void tst_plain_xml_reader::readsOrDeclines()
{
    QFETCH(const QString, document);
    QFETCH(const bool, plain);
    const ReferenceReading reference(document);
    QCOMPARE(isPlain(document), plain);
    QVERIFY(!plain || reference.isWellFormed);
    XmlCommandReader reader;
    QCOMPARE(reader.parseCommand(document), reference.isWellFormed);
    if (reference.isWellFormed) {
        QCOMPARE(reader.commandName(), reference.commandName);
        QCOMPARE(reader.allParameters(), reference.parameters);
    }
}

QTEST_APPLESS_MAIN(tst_plain_xml_reader)
#include "tst_plain_xml_reader.moc"
