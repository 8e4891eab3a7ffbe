#include "DocumentGrammar.h"
#include "PeakMemory.h"
#include "ReferenceReading.h"
#include "XmlCommandReader.h"

#include <QRandomGenerator>
#include <QtTest>

#include <algorithm>
#include <tuple>

using namespace Qt::StringLiterals;

/// What the reader offers beyond the parameters of a document, for which there is a model: see fuzz/command-reader.cpp.
class tst_xml_command_reader : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyBeginningOfADocumentIsAnError();
    void reservesNothingForText();
    void refusesATooLongDocumentWithoutReadingIt();
    void tellsAbsentFromEmpty();
    void takesKeysOfEveryType();
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

/// How much more address space is taken than ever before.
template <typename Function> qsizetype newAddressSpaceFor(const Function& function)
{
    const qsizetype before = statusOfProcess("VmPeak:");
    function();
    return statusOfProcess("VmPeak:") - before;
}

void tst_xml_command_reader::reservesNothingForText()
{
    constexpr qsizetype length = 20'000'000;
    constexpr qsizetype few = 1'000'000;
    QString document(length, u'x');
    document.replace(0, 6, u"<r><a>"_s).replace(length - 8, 8, u"</a></r>"_s);
    XmlCommandReader reader;
    QVERIFY(newAddressSpaceFor([&] { QVERIFY(reader.parseCommand(document)); }) < few);
    QCOMPARE(reader.stringParameter(u"a").size(), length - 14);
}

void tst_xml_command_reader::refusesATooLongDocumentWithoutReadingIt()
{
    constexpr qsizetype longest = 134'217'728;
    constexpr qsizetype few = 1'000'000;
    const QString document(longest + 1, u'<');
    XmlCommandReader reader;
    QVERIFY(newAddressSpaceFor([&] { QVERIFY(!reader.parseCommand(document)); }) < few);
    QCOMPARE(reader.refusalReason(), "The document is too long"_L1);
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

void tst_xml_command_reader::takesKeysOfEveryType()
{
    XmlCommandReader reader;
    QVERIFY(reader.parseCommand(u"<r><\u00fc a='7'/></r>"_s));
    const QString key = u"\u00fc/a"_s;
    const auto isFound = [&reader](const auto&... keys) {
        return ((reader.hasParameter(keys) && reader.stringParameter(keys) == u"7" && reader.utf8Parameter(keys) == "7"
                    && reader.intParameter(keys, 0) == 7)
            && ...);
    };
    QVERIFY(isFound(key, QStringView(key), "\xfc/a"_L1, u"\u00fc/a", "\u00fc/a", key.toUtf8(), QAnyStringView(key)));

    reader.setParameter("plain", u"1"_s);
    reader.setParameter("latin1"_L1, u"2"_s);
    reader.setParameter(u"literal", u"3"_s);
    reader.setParameter(QString(u"text"_s), u"4"_s);
    for (const auto& [known, value] : {std::tuple(u"plain"_s, 1), {u"latin1"_s, 2}, {u"literal"_s, 3}, {u"text"_s, 4}})
        QCOMPARE(reader.intParameter(known, 0), value);
    QVERIFY(!reader.hasParameter("plain/"));
}

/// What no command makes use of: several texts that come back, one of them twice or absent, and a remark.
void tst_xml_command_reader::buildsTheLongAcceptance()
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
