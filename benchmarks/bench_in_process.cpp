#include "ComparisonTable.h"
#include "Documents.h"
#include "OrvaneConnection.h"
#include "OrvaneInterface.h"
#include "ReplaySocket.h"
#include "XMLSocket.h"
#include "XmlCommandReader.h"

#include <QCoreApplication>
#include <QXmlStreamReader>

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

// What runs without a network. Every comparison is two benchmarks, the measured thing and its limit, whose repetitions
// are mixed at random, so that a busy moment of the machine meets both; the table shows the medians.

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
    for (auto _ : state) {
        XmlCommandReader reader;
        benchmark::DoNotOptimize(reader.parseCommand(document));
    }
}

void parseWithXmlReader(State& state, const QString& document)
{
    for (auto _ : state) {
        QXmlStreamReader reader;
        reader.addData(document);
        while (!reader.atEnd())
            reader.readNext();
        benchmark::DoNotOptimize(reader.hasError());
    }
}

Comparison parsing(const std::string& what, const QString& document, double atMost)
{
    return {"parse " + what, "QXmlStreamReader that only reads the tokens", atMost,
        [document](State& state) { parseWithCommandReader(state, document); },
        [document](State& state) { parseWithXmlReader(state, document); }};
}

constexpr qsizetype ReadSize = 16 * 1024;
constexpr qsizetype MiB = 1024 * 1024;

void receiveWithFraming(State& state, const QByteArray& message)
{
    for (auto _ : state) {
        ReplaySocket socket(message, ReadSize);
        XMLSocket framing(&socket);
        for (; !socket.isFinished(); socket.nextRead())
            framing.readMessages();
        benchmark::DoNotOptimize(framing.messages.size());
    }
}

void receiveByAppending(State& state, const QByteArray& message)
{
    for (auto _ : state) {
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

void run(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();
}

/// Collects the medians by the names of the benchmarks, instead of printing everything.
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
        parsing("showLive with five parameters", showLiveDocument(), 1.25),
        parsing("setDetailViews with 8 subsplits", detailViewsDocument(8), 1.6),
        parsing("setDetailViews with 1,000 subsplits", detailViewsDocument(1000), 1.6),
        parsing("setDetailViews with 100,000 subsplits", detailViewsDocument(100000), 1.6),
        receiving(1 * MiB, 1.5),
        receiving(4 * MiB, 1.5),
        receiving(16 * MiB, 1.5),
        receiving(64 * MiB, 1.5),
    };
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);

    const std::vector<Comparison> all = comparisons();
    for (const Comparison& comparison : all) {
        run(benchmark::RegisterBenchmark((comparison.what + "|measured").c_str(), comparison.measured));
        run(benchmark::RegisterBenchmark((comparison.what + "|limit").c_str(), comparison.limit));
    }
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    ComparisonTable table;
    for (const Comparison& comparison : all) {
        table.add({QString::fromStdString(comparison.what), reporter.medians[comparison.what + "|measured"],
            QString::fromStdString(comparison.limitedBy), reporter.medians[comparison.what + "|limit"],
            QStringLiteral("us"), comparison.atMost});
    }
    ComparisonTable::printHeading();
    table.print();
}
