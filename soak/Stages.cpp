#include "Stages.h"

#include "Misuse.h"
#include "TlsClient.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <span>
#include <utility>

using namespace Qt::StringLiterals;

namespace soak {

namespace {

constexpr int VisitsAtOnce = 20;
constexpr int EnoughVisitsToTell = 5000; // with fewer the allocator's pages outweigh what a visit leaves

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool MemoryTells = false; // the sanitizers keep what was freed
#else
constexpr bool MemoryTells = true;
#endif

#ifdef NDEBUG
constexpr bool TimeTells = MemoryTells;
#else
constexpr bool TimeTells = false;
#endif

/// One way of coming and going again.
struct Visit {
    const char* message; ///< behind a handshake and a login; null: there is none of it
    const char* bytes; ///< on the bare connection otherwise
    bool awaitsReply;
    bool endsByReset; ///< instead of a close
};

constexpr std::array WithoutAWord {Visit {nullptr, "", false, false}};

constexpr std::array InEveryWay {
    Visit {"<setPreset/>\r\n\r\n", nullptr, true, false},
    Visit {"<setPreset/>\r\n\r\n", nullptr, true, true},
    Visit {"<setPreset><presetn", nullptr, false, false},
    Visit {nullptr, "\x16\x03\x01\x02", false, false}, // a ClientHello breaks off in its header
    Visit {nullptr, "\x16\x03\x01\x02", false, true},
};

/// Prints what the stages find, and keeps whether all checks held.
class Report {
public:
    static void print(const QString& line)
    {
        static_cast<void>(std::printf("%s\n", qPrintable(line)));
        static_cast<void>(std::fflush(stdout));
    }
    void check(bool holds, const QString& line)
    {
        passed = passed && holds;
        print(u" %1 %2"_s.arg(holds ? u" ok "_s : u"FAIL"_s, line));
    }

    bool passed = true;
};

/// Runs \a stage with a server process of its own, of which nothing may be left afterwards.
void runStage(const QString& title, Report& report, const std::function<void(ServerProcess&)>& stage)
{
    Report::print(u"== "_s + title);
    ServerProcess server;
    const bool listens = server.start();
    report.check(listens, u"the server listens"_s);
    if (!listens)
        return;
    stage(server);
    report.check(server.stop(), u"the server is destroyed and its process ends with status 0"_s);
    const QStringList lines = server.errorLines().filter(u"ERROR: "_s);
    for (const QString& line : lines)
        report.check(false, line);
}

bool come(Stranger& stranger, const Visit& visit)
{
    if (visit.message == nullptr)
        return stranger.sendRaw(visit.bytes);
    if (!stranger.finishHandshake())
        return false;
    stranger.encryptLogin();
    stranger.encrypt(visit.message);
    return stranger.sendReady();
}

/// The server closes its end when it has released the connection.
bool leave(Stranger& stranger, const Visit& visit)
{
    const QByteArray expected = visit.awaitsReply ? shortAcceptance("setPreset") : QByteArray();
    return stranger.read(expected.size()) == expected
        && (visit.endsByReset || stranger.close(visit.message != nullptr));
}

/// \a count visits, in turn of all \a ways. \return how many went wrong
int payVisits(const ServerProcess& server, std::span<const Visit> ways, int count)
{
    int failures = 0;
    for (int done = 0; done < count; done += VisitsAtOnce) {
        Crowd crowd(server.port(), 1);
        std::vector<std::pair<Stranger*, Visit>> visits;
        for (int visit = done; visit < std::min(count, done + VisitsAtOnce); ++visit)
            visits.emplace_back(&crowd.come(), ways[static_cast<size_t>(visit) % ways.size()]);
        for (const auto& [stranger, visit] : visits)
            failures += come(*stranger, visit) ? 0 : 1;
        for (const auto& [stranger, visit] : visits)
            failures += leave(*stranger, visit) ? 0 : 1;
    }
    return failures;
}

/// What remains of each visit, and what the next ones cost.
void runVisits(ServerProcess& server, std::span<const Visit> ways, int count, qint64 mostGrowth, Report& report)
{
    const int descriptors = server.openDescriptors();
    int failures = 0;
    const auto costOfSome = [&] {
        const int sample = std::max(VisitsAtOnce, count / 100);
        const qint64 before = server.processorNs();
        failures += payVisits(server, ways, sample);
        server.waitUntilIdle();
        return static_cast<double>(server.processorNs() - before) / 1000 / sample;
    };
    const double first = costOfSome();
    const qint64 memory = server.residentBytes();
    failures += payVisits(server, ways, count);
    server.waitUntilIdle();
    const qint64 growth = (server.residentBytes() - memory) / count;
    const double last = costOfSome();
    Report::print(u"processor time of the server for each: %1 us at first, %2 us at last"_s.arg(first).arg(last));
    report.check(failures == 0, u"%1 went wrong"_s.arg(failures));
    report.check(server.openDescriptors() == descriptors,
        u"%1 descriptors before, %2 after"_s.arg(descriptors).arg(server.openDescriptors()));
    const QString text = u"the memory grew by %1 bytes for each"_s.arg(growth);
    if (MemoryTells && count >= EnoughVisitsToTell)
        report.check(growth < mostGrowth, text);
    else
        Report::print(text + u" (too few of them, or a sanitizer: not checked)"_s);
}

/// The server's process set up as the misuse wants it.
bool setUp(ServerProcess& server, const Misuse& misuse, bool limited)
{
    return server.ask("log " + QByteArray(misuse.logRules)) == "done"
        && server.ask("descriptors " + QByteArray::number(misuse.descriptors)) == "done"
        && (!limited || server.ask("limits") == "done");
}

/// What strangers do to a server costs it less with limits, and a client that keeps to them is served all the same.
/// Ends with a line for a table.
QString runMisuse(ServerProcess& server, const Misuse& misuse, const Choice& choice, bool limited, Report& report)
{
    constexpr double mebibyte = 1024 * 1024;
    constexpr double megabyte = 1e6;
    constexpr double longestWaitMs = 100;
    if (!setUp(server, misuse, limited)) {
        report.check(false, u"the server is set up"_s);
        return {};
    }
    const WitnessReport seen = witness(server, misuse, choice.scale());
    const double sent = static_cast<double>(seen.tally.bytes) / megabyte;
    const double units = misuse.countsConnections ? static_cast<double>(seen.tally.connections) : sent;
    QString line = u"%1 MB, %2 connections, %3 s | %4 ms, %5 ms | %6 MiB | %7 us%8 | %9 |"_s.arg(sent, 0, 'f', 1)
                       .arg(seen.tally.connections)
                       .arg(seen.seconds, 0, 'f', 1)
                       .arg(seen.medianMs, 0, 'f', 2)
                       .arg(seen.longestMs, 0, 'f', 1)
                       .arg(static_cast<double>(seen.growth) / mebibyte, 0, 'f', 1)
                       .arg(static_cast<double>(seen.processorNs) / 1000 / units, 0, 'f', 0)
                       .arg(misuse.countsConnections ? u" each"_s : u"/MB"_s)
                       .arg(QString::fromLatin1(server.ask("lines")));
    Report::print(line);
    report.check(seen.isRight, u"every answer to another client was right"_s);
    if (TimeTells && limited && choice.checksWaits)
        report.check(seen.longestMs < longestWaitMs, u"another client waited less than %1 ms"_s.arg(longestWaitMs));
    if (MemoryTells && limited)
        report.check(
            seen.growth < misuse.mostGrowth, u"the memory grew by less than %1 bytes"_s.arg(misuse.mostGrowth));
    return line;
}

void runMisuses(const Choice& choice, Report& report)
{
    QStringList table {u"| | sent | the witness waited: median, longest | memory grew at most | processor | log |"_s,
        u"|---|---|---|---|---|---|"_s};
    int number = 0;
    for (const Misuse& misuse : misuses()) {
        ++number;
        if (choice.only != 0 && choice.only != number)
            continue;
        for (const bool limited : {false, true}) {
            const QString title =
                u"%1. %2, %3"_s.arg(number).arg(QLatin1String(misuse.title), limited ? u"with limits"_s : u"without"_s);
            runStage(title, report, [&](ServerProcess& server) {
                table += u"| "_s + title + u" | "_s + runMisuse(server, misuse, choice, limited, report);
            });
        }
    }
    Report::print(u'\n' + table.join(u'\n'));
}

} // namespace

bool runStages(const Choice& choice)
{
    constexpr qint64 mostOfCycle = 1024; // bytes that remain
    constexpr qint64 mostOfConnection = 512; // 300 or so are the object that stays
    Report report;
    if (choice.only == 0) {
        runStage(u"%1 clients come and go"_s.arg(choice.cycles), report,
            [&](ServerProcess& server) { runVisits(server, InEveryWay, choice.cycles, mostOfCycle, report); });
        runStage(
            u"%1 connections come and go without a word"_s.arg(choice.connections), report, [&](ServerProcess& server) {
                runVisits(server, WithoutAWord, choice.connections, mostOfConnection, report);
            });
    }
    runMisuses(choice, report);
    return report.passed;
}

} // namespace soak
