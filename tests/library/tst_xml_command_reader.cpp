#include "XmlCommandReader.h"

#include <QtTest>

using namespace Qt::StringLiterals;

/// What the reader offers beyond the parameters of a document, for which there is a model: see fuzz/command-reader.cpp.
class tst_xml_command_reader : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyBeginningOfADocumentIsAnError();
    void convertsIntegers_data();
    void convertsIntegers();
    void tellsAbsentFromEmpty();
    void buildsTheLongAcceptance_data();
    void buildsTheLongAcceptance();
};

void tst_xml_command_reader::everyBeginningOfADocumentIsAnError()
{
    const QString document = u"<?xml version='1.0'?><!DOCTYPE r [<!ENTITY e 'x'>]><r><a i='1'>&e;<b/></a>"
                             "<paramvalue><c><d/></c></paramvalue><e><paramvalue/></e><![CDATA[f]]></r>"_s;
    for (qsizetype length = 0; length < document.size(); ++length)
        QVERIFY2(!XmlCommandReader().parseCommand(document.first(length)), qPrintable(document.first(length)));
    QVERIFY(XmlCommandReader().parseCommand(document));
}

void tst_xml_command_reader::convertsIntegers_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("number");

    const auto row = [](const char* text, int number) { QTest::newRow(text) << QString::fromLatin1(text) << number; };
    row("0x1f", 31);
    row("0X1F", 0);
    row("-7", -7);
    row("abc", 0);
    row("", 0);
    row("0xFFFFFFFF", -1);
    row("0x100000000", 0);
    row("2147483647", 2147483647);
    row("2147483648", 0);
    row("0x", 0);
    row("12 apples", 0);
}

void tst_xml_command_reader::convertsIntegers()
{
    QFETCH(const QString, text);
    QFETCH(const int, number);

    XmlCommandReader reader;
    const QString key = u"key"_s;
    QCOMPARE(reader.intParameter(key, 42), 42);
    reader.setParameter(key, text);
    QCOMPARE(reader.intParameter(key, 42), number);
}

void tst_xml_command_reader::tellsAbsentFromEmpty()
{
    XmlCommandReader reader;
    const QString key = u"key"_s;
    const QString fallback = u"default"_s;
    QCOMPARE(reader.stringParameter(key), QString());
    QCOMPARE(reader.stringParameter(key, fallback), fallback);
    QVERIFY(!reader.hasParameter(key));
    reader.setParameter(key, QString());
    QCOMPARE(reader.stringParameter(key, fallback), QString());
    QVERIFY(reader.hasParameter(key));
}

void tst_xml_command_reader::buildsTheLongAcceptance_data()
{
    QTest::addColumn<QString>("content");
    QTest::addColumn<QString>("remark");
    QTest::addColumn<QStringList>("echo");
    QTest::addColumn<QString>("elements"); // of the reply

    const QString splitId = u"splitid"_s;
    QTest::newRow("what is to be echoed and is there")
        << u"<splitid>3</splitid><b>1</b>"_s << QString() << QStringList {u"a"_s, splitId}
        << u"<command>go</command><splitid>3</splitid>"_s;
    QTest::newRow("the client's tag comes last, before the remark")
        << u"<commandtag>abc</commandtag><splitid>3</splitid>"_s << u"done"_s << QStringList {splitId, splitId}
        << u"<command>go</command><splitid>3</splitid><splitid>3</splitid><commandtag>abc</commandtag>"
           "<remark>done</remark>"_s;
    QTest::newRow("an empty tag is no tag")
        << u"<commandtag></commandtag>"_s << QString() << QStringList() << u"<command>go</command>"_s;
    QTest::newRow("an empty line in a value does not end the reply")
        << u"<splitid>a&#13;\n&#13;\nb</splitid>"_s << QString() << QStringList {splitId}
        << u"<command>go</command><splitid>a&#13;\n&#13;\nb</splitid>"_s;
    QTest::newRow("no client text is taken for markup or for a place marker")
        << u"<splitid>%4%3%1</splitid><commandtag>&lt;/p>&amp;\"'%2</commandtag>"_s << u"<%1>"_s
        << QStringList {splitId}
        << u"<command>go</command><splitid>%4%3%1</splitid>"
           "<commandtag>&lt;/p&gt;&amp;\"'%2</commandtag><remark>&lt;%1&gt;</remark>"_s;
}

void tst_xml_command_reader::buildsTheLongAcceptance()
{
    QFETCH(const QString, content);
    QFETCH(const QString, remark);
    QFETCH(const QStringList, echo);
    QFETCH(const QString, elements);

    XmlCommandReader reader;
    QVERIFY(reader.parseCommand(u"<go>"_s + content + u"</go>"_s));
    QCOMPARE(reader.acceptedReply(remark, echo, u"urn:%4"_s),
        u"<p:commandAccepted xmlns:p=\"urn:%4\">"_s + elements + u"</p:commandAccepted>"_s);
}

QTEST_APPLESS_MAIN(tst_xml_command_reader)
#include "tst_xml_command_reader.moc"
