#include "XmlCommandReader.h"

#include <QtTest>

using namespace Qt::StringLiterals;

/// What the reader makes of a document: the command, then each parameter in the order of the keys.
using Parameters = QMap<QString, QString>;

class tst_xml_command_reader : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsTheCommandName_data();
    void readsTheCommandName();
    void storesParameters_data();
    void storesParameters();
    void keepsWhatCameBeforeAnError_data();
    void keepsWhatCameBeforeAnError();
    void everyBeginningOfADocumentIsAnError();
    void convertsIntegers_data();
    void convertsIntegers();
    void tellsAbsentFromEmpty();
    void buildsTheLongAcceptance_data();
    void buildsTheLongAcceptance();
};

void tst_xml_command_reader::readsTheCommandName_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QString>("name");

    QTest::newRow("without namespace") << u"<showLive/>"_s << u"showLive"_s;
    QTest::newRow("with a prefix") << u"<p:showLive xmlns:p=\"http://www.halden.example/ravo_1_0/\"/>"_s
                                   << u"showLive"_s;
    QTest::newRow("with another prefix and a foreign namespace")
        << u"<q:showLive xmlns:q=\"urn:x\" a=\"1\">text</q:showLive>"_s << u"showLive"_s;
    QTest::newRow("in a default namespace") << u"<showLive xmlns=\"urn:x\"/>"_s << u"showLive"_s;
    QTest::newRow("after all that may stand before it")
        << u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<!-- c --><?pi?><!DOCTYPE showLive>\n<showLive/>"_s
        << u"showLive"_s;
    QTest::newRow("with white space and a comment after it") << u"<showLive/>\r\n<!-- c -->\r\n"_s << u"showLive"_s;
}

void tst_xml_command_reader::readsTheCommandName()
{
    QFETCH(const QString, document);
    QFETCH(const QString, name);

    XmlCommandReader reader;
    QVERIFY(reader.commandName().isEmpty());
    QVERIFY(reader.parseCommand(document));
    QCOMPARE(reader.commandName(), name);
    QCOMPARE(reader.documentText(), document);
    QCOMPARE(reader.allParameters(), Parameters());
}

void tst_xml_command_reader::storesParameters_data()
{
    QTest::addColumn<QString>("content"); // of the root element
    QTest::addColumn<Parameters>("parameters");

    const auto row = [](const char* name, const char16_t* content, const Parameters& parameters) {
        QTest::newRow(name) << QString::fromUtf16(content) << parameters;
    };
    const auto text = [](const char16_t* characters) { return QString::fromUtf16(characters); };

    row("flat", u"<recorder>R 1</recorder><splitid>3</splitid><commandtag>x</commandtag>",
        {{text(u"recorder"), text(u"R 1")}, {text(u"splitid"), text(u"3")}, {text(u"commandtag"), text(u"x")}});
    row("flat with white space", u"\n  <recorder>R</recorder>\n  <splitid>3</splitid>\n",
        {{text(u"recorder"), text(u"R")}, {text(u"splitid"), text(u"3")}});
    row("text of the root is skipped", u"text<a>1</a>more<!-- c --><b>2</b>",
        {{text(u"a"), text(u"1")}, {text(u"b"), text(u"2")}});
    row("an empty element has no text", u"<a></a><b/><c>1</c>", {{text(u"c"), text(u"1")}});
    row("text is kept as it is", u"<a> 1\n</a><b>&lt;&#65;&amp;</b><c><![CDATA[<&]]></c>",
        {{text(u"a"), text(u" 1\n")}, {text(u"b"), text(u"<A&")}, {text(u"c"), text(u"<&")}});
    row("text after a comment or a child is not stored", u"<a><!-- c -->1</a><b x='1'><c y='2'/>3</b>",
        {{text(u"b/x"), text(u"1")}, {text(u"b/c/y"), text(u"2")}});
    row("a repeated element gets a number", u"<a>1</a><a>2</a><b/><a>3</a>",
        {{text(u"a"), text(u"1")}, {text(u"a1"), text(u"2")}, {text(u"a2"), text(u"3")}});
    row("attributes by their local names", u"<a xmlns:q='urn:x' q:id='1' ID='2'>t</a>",
        {{text(u"a"), text(u"t")}, {text(u"a/id"), text(u"1")}, {text(u"a/ID"), text(u"2")}});

    const Parameters subsplits {{text(u"subsplits/subsplit/id"), text(u"0")},
        {text(u"subsplits/subsplit/ltx"), text(u"0.5")}, {text(u"subsplits/subsplit1/id"), text(u"1")},
        {text(u"subsplits/subsplit2/id"), text(u"2")}, {text(u"subsplits/subsplit2/objectid"), text(u"7")}};
    row("a container of children with attributes",
        u"<subsplits><subsplit id='0' ltx='0.5'/><subsplit id='1'/><subsplit id='2' objectid='7'/></subsplits>",
        subsplits);
    Parameters spaced = subsplits;
    spaced.insert(text(u"subsplits"), text(u"\n "));
    row("the white space of a container is stored",
        u"\n<subsplits>\n <subsplit id='0' ltx='0.5'/>\n <subsplit id='1'/>\n"
        u" <subsplit id='2' objectid='7'></subsplit>\n</subsplits>\n",
        spaced);

    row("a first child right after the start tag is not counted", u"<list><item>1</item><item>2</item></list>",
        {{text(u"list/item"), text(u"2")}});
    row("with white space it is", u"<list> <item>1</item> <item>2</item> </list>",
        {{text(u"list"), text(u" ")}, {text(u"list/item"), text(u"1")}, {text(u"list/item1"), text(u"2")}});

    row("the path follows an empty first child", u"<a><b/><c>1</c></a><d>2</d>",
        {{text(u"a/c"), text(u"1")}, {text(u"d"), text(u"2")}});
    row("the path follows a first child that begins with an element", u"<a><b><c>1</c></b><d>2</d></a><e>3</e>",
        {{text(u"a/b/c"), text(u"1")}, {text(u"a/d"), text(u"2")}, {text(u"e"), text(u"3")}});
    row("the path follows a captured element inside another", u"<a> <paramvalue>v</paramvalue><b>1</b></a><c>2</c>",
        {{text(u"a"), text(u" ")}, {text(u"paramvalue"), text(u"v")}, {text(u"a/b"), text(u"1")},
            {text(u"c"), text(u"2")}});

    row("paramvalue is kept as XML text", u"<paramvalue><q a='1&amp;2'>t&lt;<!-- c --><r/></q>u</paramvalue><b>1</b>",
        {{text(u"paramvalue"), text(u"<q a=\"1&amp;2\">t&lt;<r/></q>u")}, {text(u"b"), text(u"1")}});
    row("white space in a paramvalue is escaped in attributes only",
        u"<paramvalue><q a='&#13;&#10;&#9;'>&#13;\n&#9;</q></paramvalue>",
        {{text(u"paramvalue"), text(u"<q a=\"&#13;&#10;&#9;\">\r\n\t</q>")}});
    const QString longText = QString(4095, u'x') + text(u"\U0001F600") + QString(5000, u'y');
    QTest::newRow("a long text in a paramvalue is not cut") << u"<paramvalue>%1\"</paramvalue>"_s.arg(
        longText) << Parameters {{text(u"paramvalue"), longText + text(u"&quot;")}};
    row("an empty paramvalue is not stored, the last one holds",
        u"<paramvalue>1</paramvalue><a>x</a><paramvalue>2</paramvalue><paramvalue/>",
        {{text(u"paramvalue"), text(u"2")}, {text(u"a"), text(u"x")}});
    row("a paramvalue inside a paramvalue is captured anew",
        u"<b> <paramvalue>1<paramvalue>2</paramvalue>3</paramvalue><c>4</c></b>",
        {{text(u"b"), text(u" ")}, {text(u"paramvalue"), text(u"2")}, {text(u"b/c"), text(u"4")}});
    row("a paramvalue right after its parent's start tag is an ordinary element", u"<a><paramvalue>1</paramvalue></a>",
        {{text(u"a/paramvalue"), text(u"1")}});
}

void tst_xml_command_reader::storesParameters()
{
    QFETCH(const QString, content);
    QFETCH(const Parameters, parameters);

    XmlCommandReader reader;
    QVERIFY(reader.parseCommand(u"<root ignored='1'>"_s + content + u"</root>"_s));
    QCOMPARE(reader.commandName(), u"root"_s);
    QCOMPARE(reader.allParameters(), parameters);
}

void tst_xml_command_reader::keepsWhatCameBeforeAnError_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QString>("name");
    QTest::addColumn<Parameters>("parameters");

    const Parameters none;
    const Parameters two {{u"a"_s, u"1"_s}, {u"b"_s, u"2"_s}};
    QTest::newRow("no text at all") << QString() << QString() << none;
    QTest::newRow("no XML") << u"hello"_s << QString() << none;
    QTest::newRow("a prefix that nobody declared") << u"<p:r><a>1</a></p:r>"_s << QString() << none;
    QTest::newRow("ends after the root's start tag") << u"<r>"_s << u"r"_s << none;
    QTest::newRow("ends after two parameters") << u"<r><a>1</a><b>2</b>"_s << u"r"_s << two;
    QTest::newRow("wrong end tag after two parameters") << u"<r><a>1</a><b>2</b></x><c>3</c>"_s << u"r"_s << two;
    QTest::newRow("a second root element") << u"<r><a>1</a><b>2</b></r><r/>"_s << u"r"_s << two;
    QTest::newRow("an entity that nobody declared") << u"<r><a>1</a><b>2</b><c>&x;</c></r>"_s << u"r"_s << two;
    QTest::newRow("ends inside a paramvalue")
        << u"<r><paramvalue><a/>1"_s << u"r"_s << Parameters {{u"paramvalue"_s, u"<a/>"_s}};
}

void tst_xml_command_reader::keepsWhatCameBeforeAnError()
{
    QFETCH(const QString, document);
    QFETCH(const QString, name);
    QFETCH(const Parameters, parameters);

    XmlCommandReader reader;
    QVERIFY(!reader.parseCommand(document));
    QCOMPARE(reader.commandName(), name);
    QCOMPARE(reader.allParameters(), parameters);
}

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
