#include "XmlCommandReader.h"

#include <QtTest>

using namespace Qt::StringLiterals;

/// What the reader offers beyond the parameters of a document, for which there is a model: see fuzz/command-reader.cpp.
class tst_xml_command_reader : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyBeginningOfADocumentIsAnError();
    void tellsAbsentFromEmpty();
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
