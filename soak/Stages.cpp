#include "Stages.h"

#include "Clients.h"
#include "Cycle.h"
#include "Misuse.h"
#include "ServerProcess.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <sys/socket.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace soak {

namespace {

constexpr int CyclesAtOnce = 20;
constexpr qint64 MaxGrowthPerCycle = 1024; // bytes
constexpr int EnoughCyclesToTell = 5000; // with fewer the allocator's pages outweigh what a cycle leaves
constexpr qint64 MaxGrowthPerConnection = 512; // bytes; 300 or so are the object that stays

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool MemoryTells = false; // the sanitizers keep what was freed
#else
constexpr bool MemoryTells = true;
#endif

/// Prints what the stages find, and keeps whether all checks held.
class Report {
public:
    static void print(const QString& line)
    {
        static_cast<void>(std::printf("%s\n", qPrintable(line)));
        static_cast<void>(std::fflush(stdout));
    }
    bool check(bool holds, const QString& line)
    {
        passed = passed && holds;
        print(u" %1 %2"_s.arg(holds ? u" ok "_s : u"FAIL"_s, line));
        return holds;
    }

    bool passed = true;
};

/// Runs \a stage with a server process of its own, of which nothing may be left afterwards.
void runStage(const QString& title, Report& report, const std::function<void(ServerProcess&)>& stage)
{
    Report::print(u"== "_s + title);
    ServerProcess server;
    if (!report.check(server.start(), u"the server listens"_s))
        return;
    stage(server);
    report.check(server.stop(), u"the server is destroyed and its process ends with status 0"_s);
    const QStringList lines = server.errorLines().filter(u"ERROR: "_s);
    for (const QString& line : lines)
        report.check(false, line);
}

/// \a count cycles, in turn of every way of leaving. \return how many went wrong
int runSomeCycles(const ServerProcess& server, int count)
{
    std::vector<std::unique_ptr<Cycle>> running;
    int failures = 0;
    const auto takeOutDone = [&] {
        return std::erase_if(running, [&](const auto& cycle) {
            failures += cycle->isDone() && cycle->wentWrong() ? 1 : 0;
            return cycle->isDone();
        }) > 0;
    };
    for (int number = 1; number <= count; ++number) {
        if (running.size() >= CyclesAtOnce && !waitFor(takeOutDone))
            return failures + static_cast<int>(running.size());
        const auto leaving = static_cast<Cycle::Leaving>(number % Cycle::LeavingCount);
        running.push_back(std::make_unique<Cycle>(server.port(), leaving));
    }
    waitFor([&] { return takeOutDone(), running.empty(); });
    return failures + static_cast<int>(running.size());
}

void checkGrowth(qint64 growth, int cycles, qint64 mostForEach, Report& report)
{
    const QString text = u"the memory grew by %1 bytes for each"_s.arg(growth / cycles);
    if (MemoryTells && cycles >= EnoughCyclesToTell)
        report.check(growth / cycles < mostForEach, text);
    else
        Report::print(text + u" (too few cycles, or a sanitizer: not checked)"_s);
}

/// Has \a count connections made and ended by the client, one batch after the other, without a byte in them.
/// \return how many did not come or did not end
int connectWithoutAWord(const ServerProcess& server, int count)
{
    constexpr int patienceMs = 60000;
    int failures = 0;
    for (int done = 0; done < count; done += CyclesAtOnce) {
        std::vector<std::unique_ptr<QTcpSocket>> sockets;
        for (int number = done; number < std::min(count, done + CyclesAtOnce); ++number) {
            sockets.push_back(std::make_unique<QTcpSocket>());
            sockets.back()->connectToHost(QHostAddress(QHostAddress::LocalHost), server.port());
            if (sockets.back()->waitForConnected(patienceMs))
                shutdown(static_cast<int>(sockets.back()->socketDescriptor()), SHUT_WR);
        }
        for (const auto& socket : sockets) // the server closes its end when it has released the connection
            failures += socket->waitForDisconnected(patienceMs) ? 0 : 1;
    }
    return failures;
}

/// The server's time for each connection of a sample, in microseconds.
double connectionCost(const ServerProcess& server, int count, int& failures)
{
    const qint64 before = server.processorNs();
    failures += connectWithoutAWord(server, count);
    return static_cast<double>(server.processorNs() - before) / 1000 / count;
}

/// Clients come and go in every way: no descriptor and no memory is left behind.
void runCycles(ServerProcess& server, int cycles, Report& report)
{
    const int descriptors = server.openDescriptors();
    int failures = runSomeCycles(server, std::max(2 * CyclesAtOnce, cycles / 20)); // to warm up
    waitFor([&] { return server.openDescriptors() == descriptors; });
    const qint64 memory = server.residentBytes();
    failures += runSomeCycles(server, cycles);
    report.check(failures == 0, u"%1 cycles went wrong"_s.arg(failures));
    waitFor([&] { return server.openDescriptors() == descriptors; });
    report.check(server.openDescriptors() == descriptors,
        u"%1 descriptors before, %2 after"_s.arg(descriptors).arg(server.openDescriptors()));
    checkGrowth(server.residentBytes() - memory, cycles, MaxGrowthPerCycle, report);
}

/// Connections come and go, with no TLS and no login: what remains of each is known, and what the next ones cost.
void runConnections(ServerProcess& server, int connections, Report& report)
{
    const int sample = std::max(CyclesAtOnce, connections / 100);
    int failures = 0;
    const double first = connectionCost(server, sample, failures);
    server.waitUntilIdle();
    const int descriptors = server.openDescriptors();
    const qint64 memory = server.residentBytes();
    failures += connectWithoutAWord(server, connections);
    server.waitUntilIdle();
    const qint64 growth = server.residentBytes() - memory;
    const double last = connectionCost(server, sample, failures);
    Report::print(u"processor time of the server for each: %1 us at first, %2 us at last"_s.arg(first).arg(last));
    report.check(failures == 0, u"%1 connections went wrong"_s.arg(failures));
    report.check(server.openDescriptors() == descriptors,
        u"%1 descriptors before, %2 after"_s.arg(descriptors).arg(server.openDescriptors()));
    checkGrowth(growth, connections, MaxGrowthPerConnection, report);
}

/// What clients do to a server costs it less with limits, and one that keeps to them is served all the same.
void runMisuse(ServerProcess& server, const Misuse& misuse, int scale, bool limited, Report& report)
{
    constexpr double mebibyte = 1024 * 1024;
    if (limited)
        report.check(server.ask("limits") == "limited", u"the server has limits"_s);
    const WitnessReport seen = witness(server, misuse, scale);
    Report::print(u"memory grew by %1 MiB; another client waited %2 ms, at most %3 ms"_s
                      .arg(static_cast<double>(seen.growth) / mebibyte, 0, 'f', 1)
                      .arg(seen.medianMs, 0, 'f', 2)
                      .arg(seen.slowestMs, 0, 'f', 1));
    report.check(seen.wrongAnswers == 0, u"every answer to another client was right"_s);
    if (MemoryTells && limited)
        report.check(
            seen.growth < misuse.mostGrowth, u"the memory grew by less than %1 bytes"_s.arg(misuse.mostGrowth));
}

} // namespace

bool runStages(int cycles, int connections)
{
    Report report;
    runStage(u"%1 clients come and go"_s.arg(cycles), report,
        [&](ServerProcess& server) { runCycles(server, cycles, report); });
    runStage(u"%1 connections come and go without a word"_s.arg(connections), report,
        [&](ServerProcess& server) { runConnections(server, connections, report); });
    constexpr int connectionsAtFullScale = 100'000;
    const int scale = std::max(1, connectionsAtFullScale / std::max(1, connections) / 10);
    for (const Misuse& misuse : misuses()) {
        for (const bool limited : {false, true}) {
            runStage(misuse.title + (limited ? u", with limits"_s : u", without"_s), report,
                [&](ServerProcess& server) { runMisuse(server, misuse, scale, limited, report); });
        }
    }
    return report.passed;
}

} // namespace soak
