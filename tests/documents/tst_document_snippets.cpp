#include "DocumentBlocks.h"
#include "TestClass.h"

#include <OrvaneLimits.h>

#include <QLocale>
#include <QTest>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

/// Every piece of code in the documents for host developers is in an example, except for its indentation. The
/// limits that the guide names are those of the code.
class tst_document_snippets : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void matchExamples_data();
    void matchExamples();
    void nameLimitsOfControlRoom();
};

namespace {

const QString SourceDirectory = u"" ORVANE_SOURCE_DIRECTORY "/"_s;

QString withoutIndentation(const QStringList& lines)
{
    QString text(u'\n');
    for (const QString& line : lines)
        text += line.trimmed() + u'\n';
    return text;
}

/// The files in \a language of the examples, and of the host outside the tree.
QStringList exampleFiles(const QString& language)
{
    if (language == u"cmake"_s)
        return {u"examples/first-host/CMakeLists.txt"_s, u"tests/packaging/consumer/CMakeLists.txt"_s};
    if (language == u"ini"_s)
        return {u"examples/guide-host/guide-host.service"_s};
    return {u"examples/first-host/main.cpp"_s, u"examples/guide-host/ClientList.cpp"_s,
        u"examples/guide-host/GuideHost.cpp"_s, u"examples/guide-host/GuideHost.h"_s,
        u"examples/guide-host/main.cpp"_s};
}

} // namespace

void tst_document_snippets::matchExamples_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QStringList>("lines");
    for (const QString& document : {u"README.md"_s, u"SECURITY.md"_s, u"docs/hosting.md"_s}) {
        for (const QString& language : {u"cpp"_s, u"cmake"_s, u"ini"_s}) {
            for (const DocumentBlock& block : documentBlocks(SourceDirectory + document, language))
                QTest::newRow(qPrintable(block.place)) << language << block.lines;
        }
    }
}

void tst_document_snippets::matchExamples()
{
    QFETCH(const QString, language);
    QFETCH(const QStringList, lines);
    const QString snippet = withoutIndentation(lines);
    for (const QString& file : exampleFiles(language)) {
        if (withoutIndentation(documentLines(SourceDirectory + file)).contains(snippet))
            return;
    }
    QFAIL(qPrintable(u"Not in any example:"_s + snippet));
}

void tst_document_snippets::nameLimitsOfControlRoom()
{
    const auto limits = OrvaneInterface::OrvaneLimits::controlRoom();
    const QLocale english(QLocale::English);
    const auto seconds = [](std::chrono::milliseconds time) { return u"%1 s"_s.arg(time.count() / 1000); };
    const QList<std::pair<const char*, QString>> expected {{"maxClients", QString::number(limits.maxClients)},
        {"maxInvalidLogins", QString::number(limits.maxInvalidLogins)},
        {"maxMessageLength", english.toString(limits.maxMessageLength)},
        {"maxMessageLengthBeforeLogin", english.toString(limits.maxMessageLengthBeforeLogin)},
        {"maxUnsentBytes", english.toString(limits.maxUnsentBytes)},
        {"handshakeTimeout", seconds(limits.handshakeTimeout)}, {"loginTimeout", seconds(limits.loginTimeout)}};
    const QString guide = documentLines(SourceDirectory + u"docs/hosting.md"_s).join(u'\n');
    for (const auto& [name, value] : expected) {
        const QString cells = u"| `%1` | %2 |"_s.arg(QLatin1String(name), value);
        QVERIFY2(guide.contains(cells), qPrintable(cells));
    }
}

ORVANE_TEST(tst_document_snippets)
#include "tst_document_snippets.moc"
