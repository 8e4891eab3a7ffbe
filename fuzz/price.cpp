#include "DocumentGrammar.h"
#include "HostileDocuments.h"
#include "PeakMemory.h"
#include "Sanitizers.h"
#include "XmlCommandReader.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QXmlStreamReader>

#include <valgrind/callgrind.h>
#include <valgrind/valgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>

// Searches for the document that costs its reader the most per character.
//
// Under valgrind's callgrind it counts instructions, nearly the same in every run. It compares them with those of a
// long list of subsplits, the most expensive document of an honest client, with a comment at its end, so that both
// readers read it. The limit per character is the same for short and long documents. Without valgrind it measures peak
// memory. It keeps the most expensive documents so far and changes them at random.
//
// Usage: fuzz-price LENGTH SECONDS   searches among documents of this length; a finding is kept in findings/
//        fuzz-price LENGTH           measures the known expensive shapes of documents
//        fuzz-price FILE             measures a document
// Under valgrind: --tool=callgrind --callgrind-out-file=price-counts. Status 1 with a finding.

using namespace Qt::StringLiterals;
namespace {

/// Instructions per character, in multiples of those of an honest document. An element with a thousand attributes comes
/// closest: the XML reader compares each with every other.
constexpr double MostInstructions = 15;
/// Characters of the honest document: enough to make the fixed cost of a document negligible.
constexpr qsizetype HonestLength = 32768;
/// Cost of a document of twice the length, if the shorter one is at least as long as the honest one. Shorter ones have
/// no room for all the attributes and open elements that are allowed. A sixth of the cost may grow with the square of
/// the length, as in a document of which four times the length takes six times. With Qt 6.11 one shape takes 5.3 times,
/// though 16 times take only 4.1 times as much again.
constexpr double MostForTwice = 7.0 / 3;
/// Bytes per character that a document may make its reader hold.
constexpr double MostBytes = WithSanitizer ? 1e9 : 64;
/// Bytes that any document may make its reader hold in addition, partly used memory pages included.
constexpr double BytesForAny = 256 * 1024;

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

/// callgrind writes each dump of its counts to a new file.
double instructionsOf(const std::function<void()>& function)
{
    static int dump = 0;
    CALLGRIND_START_INSTRUMENTATION; // with --instr-atstart=no, making the documents before is not slowed down
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
    const double instructions = counts.mid(counts.indexOf(line) + line.size()).split('\n').first().toDouble();
    if (!(instructions > 0))
        fail(u"Nothing was counted."_s);
    return instructions;
}

/// Reads the document as the library does, then as a host would.
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

/// The cost of reading the document: instructions, or peak memory in bytes, the host's included.
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

QString honestDocument()
{
    QString document = u"<setDetailViews><subsplits>"_s;
    for (int id = 0; document.size() < HonestLength; ++id)
        document += u"<subsplit id='%1' objectid='0' ltx='0' lty='0' rbx='1' rby='1'/>"_s.arg(id);
    return document + u"</subsplits></setDetailViews><!-- -->"_s;
}

/// Limit per character in a document of this length.
double limitFor(qsizetype length)
{
    if (!countsInstructions())
        return MostBytes + BytesForAny / static_cast<double>(length);
    static const double honestPrice = priceOf(honestDocument());
    return MostInstructions * honestPrice;
}

QString inWords(double price)
{
    return countsInstructions() ? u"%1 instructions per character"_s.arg(price, 0, 'f', 0)
                                : u"%1 bytes per character"_s.arg(price, 0, 'f', 1);
}

/// The genes of the most expensive documents so far, by cost per character.
using Dearest = std::multimap<double, QByteArray>;

/// Random genes, or random changes to some of the most expensive.
QByteArray newGenes(const Dearest& dearest)
{
    QRandomGenerator& random = *QRandomGenerator::global();
    const auto randomGenes = [&](int count) {
        QByteArray genes(count, Qt::Uninitialized);
        std::generate(genes.begin(), genes.end(), [&] { return static_cast<char>(random.bounded(256)); });
        return genes;
    };
    const auto pick = [&] {
        return std::next(dearest.begin(), random.bounded(static_cast<int>(dearest.size())))->second;
    };
    if (dearest.empty() || random.bounded(4) == 0)
        return randomGenes(8 + random.bounded(56));
    QByteArray genes = pick();
    for (int changes = 1 + random.bounded(4); changes > 0; --changes) {
        const int position = random.bounded(static_cast<int>(genes.size()) + 1);
        if (random.bounded(4) == 0)
            genes.replace(position, genes.size(), pick().mid(position));
        else
            genes.replace(position, random.bounded(3), randomGenes(random.bounded(3)));
    }
    return genes;
}

/// Prints the price. \return whether it is a finding
bool isTooDear(const QString& what, double price, double limit)
{
    print(u"%1: %2"_s.arg(what, inWords(price)));
    if (price > limit)
        print(u"FINDING: the limit is %1"_s.arg(inWords(limit)));
    return price > limit;
}

bool findDearDocument(qsizetype length, int seconds)
{
    constexpr size_t kept = 32;
    Dearest dearest;
    int documents = 0;
    for (const QDeadlineTimer deadline {std::chrono::seconds(seconds)}; !deadline.hasExpired(); ++documents) {
        const QByteArray genes = newGenes(dearest);
        const QString document = documentOf(genes, length);
        const double price = priceOf(document);
        const bool isDearest = dearest.empty() || price > dearest.rbegin()->first;
        dearest.emplace(price, genes);
        if (dearest.size() > kept)
            dearest.erase(dearest.begin());
        if (!isDearest
            || !isTooDear(u"The most expensive of %1 documents"_s.arg(documents + 1), price, limitFor(document.size())))
            continue;
        const QByteArray bytes = document.toUtf8();
        const QByteArray hash = QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().first(12);
        QFile file(u"findings/price-"_s + QString::fromLatin1(hash));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            fail(u"Cannot write %1: %2"_s.arg(file.fileName(), file.errorString()));
        print(u"Saved as "_s + file.fileName());
        return true;
    }
    print(u"%1 documents, no finding"_s.arg(documents));
    return false;
}

/// Measures the known shapes; counts instructions of long ones also at twice the length. \return whether one is a
/// finding
bool measureShapes(qsizetype length)
{
    const auto shorter = hostileDocuments(length);
    const bool comparesLengths = countsInstructions() && length >= HonestLength;
    const auto longer = comparesLengths ? hostileDocuments(2 * length) : QList<HostileDocument>();
    bool found = false;
    for (qsizetype index = 0; index < shorter.size(); ++index) {
        const QString& document = shorter[index].text;
        const double cost = costOf(document);
        found |= isTooDear(QLatin1String(shorter[index].shape), cost / static_cast<double>(document.size()),
            limitFor(document.size()));
        const double factor = longer.isEmpty() ? 0 : costOf(longer[index].text) / cost;
        if (factor > MostForTwice)
            print(u"FINDING: twice the length costs %1 times as much"_s.arg(factor, 0, 'f', 1));
        found |= factor > MostForTwice;
    }
    return found;
}

bool measureFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(u"Cannot read %1: %2"_s.arg(path, file.errorString()));
    const QString document = QString::fromUtf8(file.readAll());
    return isTooDear(path, priceOf(document), limitFor(document.size()));
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    readTwice(honestDocument()); // otherwise the first document would pay the one-time costs
    const qsizetype length = arguments.value(1).toLongLong();
    const int seconds = arguments.value(2).toInt();
    if (arguments.size() < 2)
        fail(u"Usage: fuzz-price LENGTH SECONDS | LENGTH | FILE"_s);
    if (length <= 0)
        return measureFile(arguments[1]) ? 1 : 0;
    return (seconds > 0 ? findDearDocument(length, seconds) : measureShapes(length)) ? 1 : 0;
}
