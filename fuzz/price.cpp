#include "DocumentGrammar.h"
#include "HostileDocuments.h"
#include "PeakMemory.h"
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

// Looks for the document that costs its reader the most for each of its characters.
//
// Under valgrind's callgrind it counts the instructions, a number that is the same in every run, and holds it against
// those of a long list of subsplits, which is the dearest thing that an honest client sends, with a comment at its end,
// so that both ways of reading it are paid for. The limit for a character is the same for short documents as for long
// ones. Without valgrind it looks at the memory that is held at the peak. It keeps the dearest documents that it has
// met and changes them at random.
//
// Usage: fuzz-price LENGTH SECONDS   looks for so long for documents of this length; a finding is kept in findings/
//        fuzz-price LENGTH           measures the shapes of documents that are known to be dear
//        fuzz-price FILE             measures a document
// Under valgrind: --tool=callgrind --callgrind-out-file=price-counts. Status 1 with a finding.

using namespace Qt::StringLiterals;
namespace {

/// How many times as many instructions as in an honest document a character may cost. An element with a thousand
/// attributes is what comes nearest: the XML reader compares each with each other one.
constexpr double MostInstructions = 15;
/// Characters of the honest document: so many that what each document costs, however short, no longer counts.
constexpr qsizetype HonestLength = 32768;
/// How much a document of four times the length may cost, when the shorter one is as long as the honest one. In less
/// there is room for less than is allowed of many things: attributes, open elements.
constexpr double MostForFourTimes = 5;
/// Bytes that a document may make its reader hold for each character.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double MostBytes = 1e9; // the sanitizers keep what was freed
#else
constexpr double MostBytes = 64;
#endif
/// Bytes that it may make its reader hold however short it is, the memory pages that are only begun included.
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

QString honestDocument()
{
    QString document = u"<setDetailViews><subsplits>"_s;
    for (int id = 0; document.size() < HonestLength; ++id)
        document += u"<subsplit id='%1' objectid='0' ltx='0' lty='0' rbx='1' rby='1'/>"_s.arg(id);
    return document + u"</subsplits></setDetailViews><!-- -->"_s;
}

/// The most that a character may cost in a document of this length.
double limitFor(qsizetype length)
{
    if (!countsInstructions())
        return MostBytes + BytesForAny / static_cast<double>(length);
    static const double honestPrice = priceOf(honestDocument());
    return MostInstructions * honestPrice;
}

QString inWords(double price)
{
    return countsInstructions() ? u"%1 instructions"_s.arg(price, 0, 'f', 0) : u"%1 bytes"_s.arg(price, 0, 'f', 1);
}

/// The dearest genes so far, by what a character costs.
using Dearest = std::multimap<double, QByteArray>;

/// Random ones, or random changes to some of the dearest.
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
        print(u"A FINDING: %1 are allowed"_s.arg(inWords(limit)));
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
            || !isTooDear(
                u"The dearest character of %1 documents"_s.arg(documents + 1), price, limitFor(document.size())))
            continue;
        const QByteArray bytes = document.toUtf8();
        const QByteArray hash = QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().first(12);
        QFile file(u"findings/price-"_s + QString::fromLatin1(hash));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            fail(u"Cannot write %1: %2"_s.arg(file.fileName(), file.errorString()));
        print(u"It is in "_s + file.fileName());
        return true;
    }
    print(u"%1 documents, no finding"_s.arg(documents));
    return false;
}

/// The known shapes; the instructions of long ones also at four times the length. \return whether one is a finding
bool measureShapes(qsizetype length)
{
    const auto shorter = hostileDocuments(length);
    const bool comparesLengths = countsInstructions() && length >= HonestLength;
    const auto longer = comparesLengths ? hostileDocuments(4 * length) : QList<HostileDocument>();
    bool found = false;
    for (qsizetype index = 0; index < shorter.size(); ++index) {
        const QString& document = shorter[index].text;
        const double cost = costOf(document);
        found |= isTooDear(QLatin1String(shorter[index].shape), cost / static_cast<double>(document.size()),
            limitFor(document.size()));
        const double factor = longer.isEmpty() ? 0 : costOf(longer[index].text) / cost;
        if (factor > MostForFourTimes)
            print(u"A FINDING: four times the length costs %1 times as much"_s.arg(factor, 0, 'f', 1));
        found |= factor > MostForFourTimes;
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
    readTwice(honestDocument()); // what is done once in a program costs the first document
    const qsizetype length = arguments.value(1).toLongLong();
    const int seconds = arguments.value(2).toInt();
    if (arguments.size() < 2)
        fail(u"Usage: fuzz-price LENGTH SECONDS | LENGTH | FILE"_s);
    if (length <= 0)
        return measureFile(arguments[1]) ? 1 : 0;
    return (seconds > 0 ? findDearDocument(length, seconds) : measureShapes(length)) ? 1 : 0;
}
