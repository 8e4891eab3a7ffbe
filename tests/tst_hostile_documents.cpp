#include "HostileDocuments.h"
#include "XmlCommandReader.h"

#include <QtTest>

#include <malloc.h>

/// What one document can make the host hold.
class tst_hostile_documents : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void costsLittle_data();
    void costsLittle();
    void keepsWhatCameBefore_data();
    void keepsWhatCameBefore();
    void takesNoQuotesForAttributes();
    void readsAVeryLongListWhole();
};

namespace {

constexpr qsizetype MiB = qsizetype(1024) * 1024;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryCanBeMeasured = false; // the sanitizers keep what was freed
#else
constexpr bool memoryCanBeMeasured = true;
#endif

/// A line of the kernel's account of this process, in bytes; 0 when there is none.
qsizetype statusOfProcess(const QByteArray& line)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray status = file.readAll();
    return status.mid(status.indexOf(line) + line.size()).trimmed().split(' ').first().toLongLong() * 1024;
}

/// Parses, and gives the most memory that was held meanwhile, in bytes.
qsizetype peakWhileParsing(XmlCommandReader& reader, const QString& document)
{
    malloc_trim(0);
    const qsizetype before = statusOfProcess("VmRSS:");
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (reset.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        reset.write("5"); // the peak begins anew
    reader.parseCommand(document);
    return statusOfProcess("VmHWM:") - before;
}

} // namespace

void tst_hostile_documents::costsLittle_data()
{
    QTest::addColumn<QString>("document");
    const QList<HostileDocument> documents = hostileDocuments(MiB);
    for (const HostileDocument& document : documents)
        QTest::newRow(document.shape) << document.text;
}

void tst_hostile_documents::costsLittle()
{
    QFETCH(const QString, document);

    XmlCommandReader reader;
    const qsizetype peak = peakWhileParsing(reader, document);
    if (memoryCanBeMeasured)
        QVERIFY2(peak < 64 * MiB, qPrintable(QStringLiteral("%1 KiB").arg(peak / 1024)));
}

void tst_hostile_documents::keepsWhatCameBefore_data()
{
    QTest::addColumn<QString>("rest"); // of the document

    const QString closed = QStringLiteral("<b>2</b></go>");
    QString attributes;
    for (int number = 0; number < 65; ++number)
        attributes += QStringLiteral(" c%1 = '>'").arg(number);
    QTest::newRow("an element with too many attributes")
        << QStringLiteral("<c") + attributes + QStringLiteral("/>") + closed;
    QTest::newRow("elements nested too deep")
        << QStringLiteral("<c>").repeated(65) + QStringLiteral("</c>").repeated(65) + closed;
    QString namespaces;
    for (int number = 0; number < 9; ++number)
        namespaces += QStringLiteral(" xmlns:n%1='u'").arg(number);
    QTest::newRow("an element that declares too many namespaces") << QStringLiteral("<c>").repeated(4)
            + QStringLiteral("<c") + namespaces + QStringLiteral("/>") + QStringLiteral("</c>").repeated(4) + closed;
    QTest::newRow("elements nested too deep in a paramvalue") << QStringLiteral("<paramvalue>")
            + QStringLiteral("<c>").repeated(64) + QStringLiteral("</c>").repeated(64) + QStringLiteral("</paramvalue>")
            + closed;
}

void tst_hostile_documents::keepsWhatCameBefore()
{
    QFETCH(const QString, rest);

    XmlCommandReader reader;
    QVERIFY(!reader.parseCommand(QStringLiteral("<go><a>1</a>") + rest));
    QCOMPARE(reader.commandName(), QStringLiteral("go"));
    QCOMPARE(reader.stringParameter(QStringLiteral("a")), QStringLiteral("1"));
    QVERIFY(!reader.hasParameter(QStringLiteral("b")));
}

void tst_hostile_documents::takesNoQuotesForAttributes()
{
    const QString quotes = QStringLiteral(R"({"key": 'value'}, )").repeated(100);
    XmlCommandReader reader;
    QVERIFY(reader.parseCommand(QStringLiteral("<go><!-- ") + quotes + QStringLiteral("--><a><![CDATA[") + quotes
        + QStringLiteral("]]></a><b>") + quotes + QStringLiteral("</b></go>")));
    QCOMPARE(reader.stringParameter(QStringLiteral("a")), quotes);
    QCOMPARE(reader.stringParameter(QStringLiteral("b")), quotes);
}

void tst_hostile_documents::readsAVeryLongListWhole()
{
    constexpr int count = 100000;
    QString document = QStringLiteral("<setDetailViews><subsplits>");
    for (int id = 0; id < count; ++id)
        document += QStringLiteral("<subsplit id='%1' objectid='0' ltx='0' lty='0' rbx='1' rby='1'/>").arg(id);
    document += QStringLiteral("</subsplits></setDetailViews>");

    XmlCommandReader reader;
    QVERIFY(reader.parseCommand(document));
    for (int id = 1; id < count; ++id)
        QCOMPARE(reader.intParameter(QStringLiteral("subsplits/subsplit%1/id").arg(id), -1), id);
    QCOMPARE(reader.stringParameter(QStringLiteral("subsplits/subsplit99999/rby")), QStringLiteral("1"));
}

QTEST_APPLESS_MAIN(tst_hostile_documents)
#include "tst_hostile_documents.moc"
