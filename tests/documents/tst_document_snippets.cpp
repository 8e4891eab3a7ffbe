#include "DocumentBlocks.h"

#include <QtTest>

/// Every piece of code in the documents for writers of hosts stands in an example, but for the indentation.
class tst_document_snippets : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void areThoseOfTheExamples_data();
    void areThoseOfTheExamples();
};

namespace {

const QString SourceDirectory = QStringLiteral(ORVANE_SOURCE_DIRECTORY "/");

QString withoutIndentation(const QStringList& lines)
{
    QString text(u'\n');
    for (const QString& line : lines)
        text += line.trimmed() + u'\n';
    return text;
}

/// What of the examples, and of the hosts outside the tree, is written in a language.
QStringList exampleFiles(const QString& language)
{
    if (language == QStringLiteral("cmake"))
        return {QStringLiteral("examples/first-host/CMakeLists.txt"),
            QStringLiteral("tests/packaging/consumer/CMakeLists.txt")};
    if (language == QStringLiteral("xml"))
        return {QStringLiteral("examples/first-host/tls.qrc")};
    return {QStringLiteral("examples/first-host/main.cpp"), QStringLiteral("examples/guide-host/GuideHost.cpp"),
        QStringLiteral("examples/guide-host/GuideHost.h"), QStringLiteral("examples/guide-host/main.cpp")};
}

} // namespace

void tst_document_snippets::areThoseOfTheExamples_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QStringList>("lines");
    for (const QString& document :
        {QStringLiteral("README.md"), QStringLiteral("SECURITY.md"), QStringLiteral("docs/hosting.md")}) {
        for (const QString& language : {QStringLiteral("cpp"), QStringLiteral("cmake"), QStringLiteral("xml")}) {
            for (const DocumentBlock& block : documentBlocks(SourceDirectory + document, language))
                QTest::newRow(qPrintable(block.place)) << language << block.lines;
        }
    }
}

void tst_document_snippets::areThoseOfTheExamples()
{
    QFETCH(const QString, language);
    QFETCH(const QStringList, lines);
    const QString snippet = withoutIndentation(lines);
    for (const QString& file : exampleFiles(language)) {
        if (withoutIndentation(documentLines(SourceDirectory + file)).contains(snippet))
            return;
    }
    QFAIL(qPrintable(QStringLiteral("In no example:") + snippet));
}

QTEST_GUILESS_MAIN(tst_document_snippets)
#include "tst_document_snippets.moc"
