#include "DocumentBlocks.h"
#include "OrvaneConnection.h"

#include <QtTest>

/// The command table against the sections of docs/protocol.md.
class tst_documented_commands : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void areThoseOfTheTableInItsOrder();
    void haveAnExchangeEach();
};

namespace {

const QString ProtocolDocument = QStringLiteral(ORVANE_SOURCE_DIRECTORY "/docs/protocol.md");
const QString SectionBegin = QStringLiteral("## `");

} // namespace

void tst_documented_commands::areThoseOfTheTableInItsOrder()
{
    QStringList sections;
    for (const QString& line : documentLines(ProtocolDocument)) {
        if (line.startsWith(SectionBegin))
            sections += line.section(u'`', 1, 1);
    }
    QCOMPARE(sections, OrvaneInterface::OrvaneConnection::commandNames());
}

void tst_documented_commands::haveAnExchangeEach()
{
    const QStringList sections =
        documentLines(ProtocolDocument).join(u'\n').split(u'\n' + SectionBegin, Qt::SkipEmptyParts).mid(1);
    for (const QString& section : sections) {
        const QString command = section.section(u'`', 0, 0);
        QVERIFY2(section.contains(QStringLiteral("\n> <") + command), qPrintable(command));
    }
}

QTEST_GUILESS_MAIN(tst_documented_commands)
#include "tst_documented_commands.moc"
