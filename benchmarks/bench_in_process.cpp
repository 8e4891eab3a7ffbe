#include "ClientEvents.h"
#include "ComparisonTable.h"
#include "Documents.h"
#include "HostileDocuments.h"
#include "Lists.h"
#include "OrvaneConnection.h"
#include "OrvaneInterface.h"
#include "ReplaySocket.h"
#include "XMLSocket.h"
#include "XmlCommandReader.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QXmlStreamReader>

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

// Benchmarks without a network. Each comparison is two of them: what is measured, and its limit. Their repetitions are
// interleaved at random, so that a busy moment of the machine affects both. The table shows the medians.

namespace {

using RecorderEntry = OrvaneInterface::OrvaneInterface::RecorderEntry;
using State = benchmark::State;

struct Comparison {
    std::string what;
    std::string limitedBy;
    double atMost;
    std::function<void(State&)> measured;
    std::function<void(State&)> limit;
};

void parseWithCommandReader(State& state, const QString& document)
{
    for ([[maybe_unused]] auto _ : state) {
        XmlCommandReader reader;
        benchmark::DoNotOptimize(reader.parseCommand(document));
    }
}

/// The least that reading a document with QXmlStreamReader costs: the tokens only.
bool parseBare(const QString& document)
{
    QXmlStreamReader reader;
    reader.addData(document);
    while (!reader.atEnd())
        reader.readNext();
    return !reader.hasError();
}

void parseWithXmlReader(State& state, const QString& document)
{
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(parseBare(document));
}

Comparison parsing(const std::string& what, const QString& document, double atMost)
{
    return {"parse " + what, "QXmlStreamReader, reading only the tokens", atMost,
        [document](State& state) { parseWithCommandReader(state, document); },
        [document](State& state) { parseWithXmlReader(state, document); }};
}

/// Compares a list \a factor times as long as one of 1,000 with \a factor of these.
Comparison parsingLinearly(const std::string& what, int factor, double atMost)
{
    constexpr int shortList = 1000;
    const QString document = detailViewsDocument(factor * shortList);
    const QString shortDocument = detailViewsDocument(shortList);
    return {"parse " + what, "the same number of subsplits in lists of 1,000", atMost,
        [document](State& state) { parseWithCommandReader(state, document); },
        [shortDocument, factor](State& state) {
            for ([[maybe_unused]] auto _ : state) {
                for (int list = 0; list < factor; ++list) {
                    XmlCommandReader reader;
                    benchmark::DoNotOptimize(reader.parseCommand(shortDocument));
                }
            }
        }};
}

constexpr qsizetype KiB = 1024;
constexpr qsizetype MiB = 1024 * KiB;
constexpr qsizetype ReadSize = 16 * KiB;

void receiveWithFraming(State& state, const QByteArray& message)
{
    for ([[maybe_unused]] auto _ : state) {
        ReplaySocket socket(message, ReadSize);
        XMLSocket framing(&socket);
        for (; !socket.isFinished(); socket.nextRead())
            framing.readMessages(ReadSize);
        benchmark::DoNotOptimize(framing.messages.size());
    }
}

void receiveByAppending(State& state, const QByteArray& message)
{
    for ([[maybe_unused]] auto _ : state) {
        ReplaySocket socket(message, ReadSize);
        QString text;
        for (; !socket.isFinished(); socket.nextRead())
            text += QString::fromUtf8(socket.readAll());
        benchmark::DoNotOptimize(text.size());
    }
}

Comparison receiving(qsizetype size, double atMost)
{
    const QByteArray text = detailViewsDocument(10000).toUtf8();
    const QByteArray message = text.repeated(size / text.size() + 1).first(size - 4) + "\r\n\r\n";
    return {"receive a message of " + std::to_string(size / MiB) + " MiB", "QString::fromUtf8 and append", atMost,
        [message](State& state) { receiveWithFraming(state, message); },
        [message](State& state) { receiveByAppending(state, message); }};
}

/// 1,000 recorders with 16 tracks each.
std::vector<RecorderEntry> recorders()
{
    std::vector<RecorderEntry> list(1000);
    for (size_t index = 0; index < list.size(); ++index) {
        RecorderEntry& recorder = list[index];
        recorder.name = "Recorder number " + std::to_string(index);
        recorder.ip = "192.0.2." + std::to_string(index % 256);
        recorder.userName = "operator";
        recorder.password = "a password";
        recorder.maxNumChannels = 16;
        for (int track = 0; track < 16; ++track)
            recorder.tracks.push_back("Camera " + std::to_string(track) + " at the entrance");
    }
    return list;
}

void buildRecorderList(State& state)
{
    const std::vector<RecorderEntry> list = recorders();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(OrvaneInterface::recorderList(list, true).size());
}

void joinRecorderTexts(State& state)
{
    const std::vector<RecorderEntry> list = recorders();
    for ([[maybe_unused]] auto _ : state) {
        QString text;
        const auto append = [&](const std::string& part) { text += QString::fromStdString(part); };
        for (const RecorderEntry& recorder : list) {
            append(recorder.name);
            append(recorder.ip);
            append(recorder.userName);
            append(recorder.password);
            text += QString::number(recorder.maxNumChannels);
            for (const std::string& track : recorder.tracks)
                append(track);
        }
        benchmark::DoNotOptimize(text.size());
    }
}

/// All that the audit trail and the client observer cost a command if both are off.
void askWhetherEventsAreWanted(State& state)
{
    const OrvaneInterface::ClientEvents events({}, std::make_shared<OrvaneInterface::ClientObservation>());
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(events.isWanted());
}

/// The slowest of three runs for each document.
void measureHostileDocuments(ComparisonTable& table)
{
    constexpr double allowed = 1000;
    constexpr int runs = 3;
    const QList<HostileDocument> documents = hostileDocuments(MiB);
    for (const HostileDocument& document : documents) {
        double slowest = 0;
        for (int repetition = 0; repetition < runs; ++repetition) {
            QElapsedTimer timer;
            timer.start();
            XmlCommandReader reader;
            reader.parseCommand(document.text);
            slowest = std::max(slowest, static_cast<double>(timer.nsecsElapsed()) / 1e6);
        }
        table.add({"1 MiB: "_L1 + QLatin1String(document.shape), slowest, u"one second"_s, allowed, u"ms"_s, 1});
    }
}

void run(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(11)->ReportAggregatesOnly();
}

/// Collects the medians by benchmark name, instead of printing everything.
class MedianReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median")
                medians[run.run_name.function_name] = run.GetAdjustedCPUTime();
        }
    }

    std::map<std::string, double> medians; ///< processor time in microseconds
};

std::vector<Comparison> comparisons()
{
    return {
        parsing("showLive with five parameters", showLiveDocument(), 0.2),
        parsing("showLive with five parameters and a final comment", showLiveDocument() + "<!-- -->"_L1, 1.45),
        parsing("setDetailViews with 8 subsplits", detailViewsDocument(8), 0.35),
        parsing("setDetailViews with 1,000 subsplits", detailViewsDocument(1000), 0.4),
        parsingLinearly("setDetailViews with 100,000 subsplits", 100, 2),
        receiving(1 * MiB, 1.5),
        receiving(4 * MiB, 1.5),
        receiving(16 * MiB, 1.5),
        receiving(64 * MiB, 1.5),
        {"build the list of 1,000 recorders with 16 tracks each", "converting and joining the same texts", 2,
            buildRecorderList, joinRecorderTexts},
        {"ask whether the audit trail or an observer is on", "reading only the tokens of a showLive", 0.01,
            askWhetherEventsAreWanted,
            [document = showLiveDocument()](State& state) { parseWithXmlReader(state, document); }},
    };
}

/// The cost of a list by its number of subsplits, in steps of half an order of magnitude.
std::vector<Comparison> curve()
{
    std::vector<Comparison> lists;
    for (const int subsplits : {1, 3, 10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000})
        lists.push_back(parsing(std::to_string(subsplits) + " subsplits", detailViewsDocument(subsplits), 0.4));
    return lists;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);

    const bool isCurve = QCoreApplication::arguments().contains("--curve"_L1);
    const std::vector<Comparison> all = isCurve ? curve() : comparisons();
    for (const Comparison& comparison : all) {
        run(benchmark::RegisterBenchmark((comparison.what + "|measured").c_str(), comparison.measured));
        run(benchmark::RegisterBenchmark((comparison.what + "|limit").c_str(), comparison.limit));
    }
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    ComparisonTable table;
    for (const Comparison& comparison : all) {
        table.add({QString::fromStdString(comparison.what), reporter.medians[comparison.what + "|measured"],
            QString::fromStdString(comparison.limitedBy), reporter.medians[comparison.what + "|limit"], u"us"_s,
            comparison.atMost});
    }
    if (!isCurve)
        measureHostileDocuments(table);
    ComparisonTable::printHeading();
    table.print();
}
