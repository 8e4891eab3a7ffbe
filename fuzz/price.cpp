#include "DocumentGrammar.h"
#include "HostileDocuments.h"
#include "PeakMemory.h"
#include "XmlCommandReader.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>

#include <valgrind/callgrind.h>
#include <valgrind/valgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

// Looks for the document that costs its reader the most for each of its characters.
//
// Under valgrind's callgrind it counts the instructions, a number that is the same in every run, and holds it against
// those of a list of subsplits, which is the dearest thing that an honest client sends. Without valgrind it looks at
// the memory that is held at the peak. It keeps the dearest documents that it has met and changes them at random.

using namespace Qt::StringLiterals;

namespace {

/// How many times as many instructions as in an honest document a character may cost. An element with a thousand
/// attributes is what comes nearest: the XML reader compares each with each other one.
constexpr double MostInstructions = 15;
/// How much a document of four times the length may cost.
constexpr double MostForFourTimes = 5;
/// Bytes that a document may make its reader hold for each character.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double MostBytes = 1e9; // the sanitizers keep what was freed
#else
constexpr double MostBytes = 64;
#endif

bool countsInstructions()
{
    return RUNNING_ON_VALGRIND != 0;
}

void print(const QString& line)
{
    static_cast<void>(std::printf("%s\n", qPrintable(line)));
    static_cast<void>(std::fflush(stdout));
}

[[noreturn]] void fail(const QString& line)
{
    static_cast<void>(std::fprintf(stderr, "%s\n", qPrintable(line)));
    std::exit(2);
}

/// callgrind writes what it has counted to a file of its own for each time that it is asked.
double instructionsOf(const std::function<void()>& function)
{
    static int dump = 0;
    CALLGRIND_ZERO_STATS;
    function();
    CALLGRIND_DUMP_STATS;
    QFile file(u"price-counts.%1"_s.arg(++dump));
    if (!file.open(QIODevice::ReadOnly))
        fail(u"Cannot read %1: %2. Run with --callgrind-out-file=price-counts."_s.arg(
            file.fileName(), file.errorString()));
    const QByteArray counts = file.readAll();
    file.remove();
    const QByteArray line = "\nsummary: ";
    return counts.mid(counts.indexOf(line) + line.size()).split('\n').first().toDouble();
}

/// Reads the document, and then as a host reads one that it has been given.
void readTwice(const QString& document)
{
    {
        XmlCommandReader reader;
        reader.parseCommand(document);
        if (!reader.refusalReason().isNull())
            return;
    }
    QXmlStreamReader host(document);
    while (!host.atEnd())
        host.readNext();
}

/// What reading the document costs: instructions, or bytes at the peak, the host's included.
double costOf(const QString& document)
{
    if (countsInstructions())
        return instructionsOf([&] { XmlCommandReader().parseCommand(document); });
    return static_cast<double>(peakMemoryDuring([&] { readTwice(document); }));
}

double priceOf(const QString& document)
{
    return costOf(document) / static_cast<double>(document.size());
}

double honestPrice(qsizetype length)
{
    QString document = u"<setDetailViews><subsplits>"_s;
    for (int id = 0; document.size() < length; ++id)
        document += u"<subsplit id='%1' objectid='0' ltx='0' lty='0' rbx='1' rby='1'/>"_s.arg(id);
    return priceOf(document + u"</subsplits></setDetailViews>"_s);
}

/// The most that a character may cost.
double limitFor(qsizetype length)
{
    return countsInstructions() ? MostInstructions * honestPrice(length) : MostBytes;
}

QString inWords(double price)
{
    return countsInstructions() ? u"%1 instructions"_s.arg(price, 0, 'f', 0) : u"%1 bytes"_s.arg(price, 0, 'f', 1);
}

struct Candidate {
    QByteArray genes;
    double price = 0;
};

/// The dearest documents so far, and new ones made of them.
class Search {
public:
    explicit Search(quint32 seed)
        : random(seed)
    {
    }

    QByteArray next()
    {
        if (best.empty() || random.bounded(4) == 0)
            return randomGenes(8 + random.bounded(56));
        QByteArray genes = pick().genes;
        for (int changes = 1 + random.bounded(4); changes > 0; --changes)
            change(genes);
        return genes;
    }

    void keep(const Candidate& candidate)
    {
        const auto dearer = [](const Candidate& left, const Candidate& right) { return left.price > right.price; };
        best.insert(std::upper_bound(best.begin(), best.end(), candidate, dearer), candidate);
        if (best.size() > 32)
            best.pop_back();
    }

private:
    const Candidate& pick() { return best.at(random.bounded(static_cast<quint32>(best.size()))); }

    QByteArray randomGenes(int length)
    {
        QByteArray genes(length, Qt::Uninitialized);
        std::generate(genes.begin(), genes.end(), [this] { return static_cast<char>(random.bounded(256)); });
        return genes;
    }

    void change(QByteArray& genes)
    {
        const int position = random.bounded(static_cast<int>(genes.size()) + 1);
        switch (random.bounded(4)) {
        case 0:
            genes.insert(position, randomGenes(1 + random.bounded(3)));
            break;
        case 1:
            genes.remove(position, 1 + random.bounded(3));
            break;
        case 2:
            genes.replace(position, genes.size(), pick().genes.mid(position));
            break;
        default:
            genes.replace(position, 1, randomGenes(1));
        }
    }

    QRandomGenerator random;
    std::vector<Candidate> best;
};

void save(const QString& document, const QString& directory)
{
    const QByteArray bytes = document.toUtf8();
    const QByteArray name = QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().first(12);
    QFile file(QDir(directory).filePath(u"price-"_s + QString::fromLatin1(name)));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        fail(u"Cannot write %1: %2"_s.arg(file.fileName(), file.errorString()));
    print(u"It is in %1"_s.arg(file.fileName()));
}

int search(qint64 seconds, qsizetype length, quint32 seed, const QString& directory)
{
    Search search(seed);
    const double limit = limitFor(length);
    print(u"An honest character costs %1, and none may cost more than %2"_s.arg(
        inWords(honestPrice(length)), inWords(limit)));
    QElapsedTimer timer;
    timer.start();
    double highest = 0;
    int documents = 0;
    for (qint64 told = 0; timer.elapsed() < seconds * 1000; ++documents) {
        const QByteArray genes = search.next();
        const QString document = DocumentGrammar(genes, length).document();
        const double price = priceOf(document);
        search.keep({genes, price});
        if (price > highest || timer.elapsed() > told + 30000) {
            told = timer.elapsed();
            highest = std::max(highest, price);
            print(u"%1 s, %2 documents: the dearest character costs %3"_s.arg(told / 1000)
                      .arg(documents)
                      .arg(inWords(highest)));
        }
        if (price > limit) {
            print(u"A FINDING: a document of %1 characters costs %2 each"_s.arg(document.size()).arg(inWords(price)));
            save(document, directory);
            return 1;
        }
    }
    print(u"%1 documents, no finding; the dearest character costs %2"_s.arg(documents).arg(inWords(highest)));
    return 0;
}

/// 1 with a finding.
int tellPrice(const QString& what, double price, double limit)
{
    print(u"%1: %2"_s.arg(what, inWords(price)));
    if (price <= limit)
        return 0;
    print(u"A FINDING: %1 are allowed"_s.arg(inWords(limit)));
    return 1;
}

/// The known shapes; the instructions also at four times the length.
int measureShapes(qsizetype length)
{
    const auto shorter = hostileDocuments(length);
    const auto longer = countsInstructions() ? hostileDocuments(4 * length) : QList<HostileDocument>();
    const double limit = limitFor(length);
    int findings = 0;
    for (qsizetype index = 0; index < shorter.size(); ++index) {
        const double cost = costOf(shorter[index].text);
        findings += tellPrice(
            QLatin1String(shorter[index].shape), cost / static_cast<double>(shorter[index].text.size()), limit);
        if (!countsInstructions())
            continue;
        const double factor = costOf(longer[index].text) / cost;
        if (factor > MostForFourTimes) {
            print(u"A FINDING: four times the length costs %1 times as much"_s.arg(factor, 0, 'f', 1));
            ++findings;
        }
    }
    return std::min(findings, 1);
}

int measureFiles(const QStringList& paths)
{
    int findings = 0;
    for (const QString& path : paths) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            fail(u"Cannot read %1: %2"_s.arg(path, file.errorString()));
        const QString document = QString::fromUtf8(file.readAll());
        findings += tellPrice(path, priceOf(document), limitFor(document.size()));
    }
    return std::min(findings, 1);
}

int numberOption(const QCommandLineParser& parser, const QCommandLineOption& option)
{
    bool isNumber = false;
    const int number = parser.value(option).toInt(&isNumber);
    if (!isNumber || number < 0)
        fail(u"Not a number: --%1 %2"_s.arg(option.names().constLast(), parser.value(option)));
    return number;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Looks for the document that costs its reader the most for each character: memory, or, under\n"
        "valgrind --tool=callgrind --callgrind-out-file=price-counts, instructions. Status 1 with a finding."_s);
    parser.addHelpOption();
    const QCommandLineOption seconds(u"seconds"_s, u"How long to search."_s, u"number"_s, u"60"_s);
    const QCommandLineOption length(u"length"_s, u"Characters of each document."_s, u"number"_s, u"32768"_s);
    const QCommandLineOption seed(
        u"seed"_s, u"For the random choices; 0: another one each time."_s, u"number"_s, u"0"_s);
    const QCommandLineOption directory(u"directory"_s, u"Where a finding is kept."_s, u"path"_s, u"."_s);
    const QCommandLineOption shapes(u"shapes"_s, u"Measure the shapes that are known to be dear, and end."_s);
    parser.addOptions({seconds, length, seed, directory, shapes});
    parser.addPositionalArgument(u"FILE"_s, u"Documents to measure instead."_s, u"[FILE...]"_s);
    parser.process(application);

    if (parser.isSet(shapes))
        return measureShapes(numberOption(parser, length));
    if (!parser.positionalArguments().isEmpty())
        return measureFiles(parser.positionalArguments());
    const int chosenSeed = numberOption(parser, seed);
    return search(numberOption(parser, seconds), numberOption(parser, length),
        chosenSeed > 0 ? static_cast<quint32>(chosenSeed) : QRandomGenerator::global()->generate(),
        parser.value(directory));
}
