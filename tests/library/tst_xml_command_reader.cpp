#include "PeakMemory.h"
#include "ReferenceReading.h"
#include "XmlCommandReader.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// What the reader offers beyond a document's parameters. For these fuzz/command-reader.cpp has a model.
class tst_xml_command_reader : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsUsualDocumentsWithoutQt_data();
    void readsUsualDocumentsWithoutQt();
    void writesParamValueBack_data();
    void writesParamValueBack();
    void reservesNothingForText();
    void refusesTooLongDocumentUnread();
    void distinguishesAbsentFromEmpty();
    void buildsLongAcceptance();
};

void tst_xml_command_reader::readsUsualDocumentsWithoutQt_data()
{
    QTest::addColumn<QString>("document");
    for (const QString& document :
        {u"<r/>"_s, u" \n<r>\n <a>1</a> <a b='2'/>\t</r >\n"_s, u"<?xml version=\"1.0\"?><r xmlns=\"u\"><a/></r>"_s,
            u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<p:r xmlns:p=\"u\"><a>\u00fc</a></p:r>"_s,
            u"<r>"_s + u"<_A-z.0 x = \"]]>'\"\ny='\"'>"_s.repeated(63) + u"</_A-z.0>"_s.repeated(63) + u"</r>"_s,
            u"<r><a b1='' b2='' b3='' b4='' b5='' b6='' b7='' b8='' b9='' ba='' bb='' bc='' bd='' be='' bf='' b=''/></r>"_s,
            u"<r><a>"_s + u"text "_s.repeated(100000) + u"</a></r>"_s})
        QTest::newRow(qPrintable(document.left(60))) << document;
}

/// That it reads the same, or declines, is shown by fuzz/command-reader.cpp.
void tst_xml_command_reader::readsUsualDocumentsWithoutQt()
{
    QFETCH(const QString, document);
    QVERIFY(isPlain(document));
}

void tst_xml_command_reader::writesParamValueBack_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QString>("content");
    const auto row = [](const char* what, const QString& document, const QString& content) {
        QTest::newRow(what) << document << content;
    };
    const auto captured = [&row](const char* what, const QString& written, const QString& content) {
        row(what, u"<r><paramvalue>"_s + written + u"</paramvalue></r>"_s, content);
    };
    captured("nothing", u""_s, u""_s);
    captured("an element in another", u"<a>1<b>2</b>3</a>4"_s, u"<a>1<b>2</b>3</a>4"_s);
    captured("attributes", u"<a b='1' c='\"&lt;&amp;>'/>"_s, u"<a b=\"1\" c=\"&quot;&lt;&amp;&gt;\"/>"_s);
    captured("references and quotes", u"&lt;&#65;&amp;'\""_s, u"&lt;A&amp;'&quot;"_s);
    captured("a CDATA section", u"<a><![CDATA[<b>]]></a>"_s, u"<a>&lt;b&gt;</a>"_s);
    captured("a prefix", u"<p:a xmlns:p='u'><p:b p:c='1'/></p:a>"_s, u"<a><b xmlns:n1=\"u\" n1:c=\"1\"/></a>"_s);
    captured("a default namespace", u"<a xmlns='u'><b/></a>"_s, u"<a><b/></a>"_s);
    captured("another one with an attribute", u"1<paramvalue b='2'/>"_s, u"1<paramvalue b=\"2\""_s);
    row("another one after a parameter is captured, too",
        u"<r><c/><paramvalue><a/><paramvalue>1</paramvalue></paramvalue></r>"_s, u"1"_s);
    row("another one, and a parameter in it",
        u"<r><paramvalue>1<paramvalue><a>2</a></paramvalue></paramvalue><a>3</a></r>"_s, u"1<paramvalue"_s);
    row("an entity", u"<!DOCTYPE r [<!ENTITY e '\"x'>]><r><paramvalue><a>&e;</a></paramvalue></r>"_s,
        u"<a>&quot;x</a>"_s);
    row("an empty entity", u"<!DOCTYPE r [<!ENTITY e ''>]><r><paramvalue><a>&e;</a></paramvalue></r>"_s, u"<a/>"_s);
    row("an unknown entity", u"<!DOCTYPE r SYSTEM 'x'><r><paramvalue>1&e;2</paramvalue></r>"_s, u"12"_s);
}

void tst_xml_command_reader::writesParamValueBack()
{
    QFETCH(const QString, document);
    QFETCH(const QString, content);
    XmlCommandReader reader;
    reader.parseCommand(document);
    QCOMPARE(reader.hasParameter(u"paramvalue"), !content.isEmpty());
    QCOMPARE(reader.stringParameter(u"paramvalue"), content);
    QCOMPARE(reader.allParameters(), ReferenceReading(document).parameters);
}

constexpr qsizetype Few = 1'000'000; // bytes

/// How much the peak of the address space grows.
template <typename Function> qsizetype newAddressSpaceFor(const Function& function)
{
    QByteArrayList ballast; // takes what was freed before, which the function would use unseen
    const qsizetype past = statusOfProcess("VmPeak:");
    while (past > 0 && statusOfProcess("VmPeak:") == past)
        ballast += QByteArray(Few, Qt::Uninitialized);
    const qsizetype before = statusOfProcess("VmPeak:");
    function();
    return statusOfProcess("VmPeak:") - before;
}

void tst_xml_command_reader::reservesNothingForText()
{
    constexpr qsizetype length = 20'000'000;
    QString document(length, u'x');
    document.replace(0, 6, u"<r><a>"_s).replace(length - 8, 8, u"</a></r>"_s);
    XmlCommandReader reader;
    QVERIFY(newAddressSpaceFor([&] { QVERIFY(reader.parseCommand(document)); }) < Few);
    QCOMPARE(reader.stringParameter(u"a").size(), length - 14);
}

void tst_xml_command_reader::refusesTooLongDocumentUnread()
{
    constexpr qsizetype longest = 134'217'728;
    const QString document(longest + 1, u'<');
    XmlCommandReader reader;
    QVERIFY(newAddressSpaceFor([&] { QVERIFY(!reader.parseCommand(document)); }) < Few);
    QCOMPARE(reader.refusalReason(), "The document is too long"_L1);
}

void tst_xml_command_reader::distinguishesAbsentFromEmpty()
{
    XmlCommandReader reader;
    for (const bool isSet : {false, true}) {
        QCOMPARE(reader.hasParameter(u"key"), isSet);
        QCOMPARE(reader.stringParameter(u"key", u"default"_s), isSet ? QString() : u"default"_s);
        reader.setParameter(u"key", QString());
    }
}

/// What no command uses: several texts that are echoed, one of them twice, one absent, and a remark.
void tst_xml_command_reader::buildsLongAcceptance()
{
    XmlCommandReader reader;
    QVERIFY(reader.parseCommand(u"<go><commandtag>abc</commandtag><b>1</b><splitid>%4%3%1</splitid></go>"_s));
    const QStringList echo {u"splitid"_s, u"a"_s, u"splitid"_s};
    QCOMPARE(reader.acceptedReply(u"<%1>"_s, echo, u"urn:%4"_s),
        u"<p:commandAccepted xmlns:p=\"urn:%4\"><command>go</command><splitid>%4%3%1</splitid><splitid>%4%3%1</splitid>"
        "<commandtag>abc</commandtag><remark>&lt;%1&gt;</remark></p:commandAccepted>"_s);
}

QTEST_APPLESS_MAIN(tst_xml_command_reader)
#include "tst_xml_command_reader.moc"
