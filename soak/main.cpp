#include "Clients.h"
#include "Misuse.h"
#include "QuietHost.h"
#include "Sanitizers.h"
#include "ServerProcess.h"

#include <OrvaneServer.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

bool hasPassed = true; ///< every check so far

/// The process that ServerProcess starts. Log lines are made as for any host, then dropped.
int serve(quint16 port, bool limited)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    QuietHost host;
    OrvaneInterface::OrvaneServer server(&host, port, QString(), QString(), nullptr);
    if (limited)
        server.setLimits(OrvaneInterface::OrvaneLimits::controlRoom());
    server.startListeningForConnection();
    return serveUntilInputEnds(server);
}

void print(const QString& line)
{
    QTextStream(stdout) << line << Qt::endl;
}

void check(bool holds, const QString& line)
{
    hasPassed = hasPassed && holds;
    print((holds ? u"  ok  "_s : u" FAIL "_s) + line);
}

/// Runs \a stage with its own server process, which must then end cleanly.
template <typename Stage> void runStage(const QString& title, const QString& option, const Stage& stage)
{
    print(u"== "_s + title);
    ServerProcess server(option);
    if (!server.start())
        return check(false, u"the server listens"_s);
    stage(server);
    const bool ends = server.stop();
    check(ends, u"the server is destroyed and its process ends with status 0"_s);
    if (!ends)
        print(server.errorLines().join(u'\n')); // sanitizer reports
}

/// Steps; each returns whether it succeeded.
constexpr auto ask = [](Stranger& it) { return it.send("<setPreset/>\r\n\r\n"); };
constexpr auto isAnswered = [](Stranger& it) { return it.receive(shortAcceptance("setPreset")); };
constexpr auto logInAndAsk = [](Stranger& it) { return logIn(it) && ask(it); };

/// Another client: sends one command at a time and waits for the reply, until the misuse is over.
struct Witness {
    Target target;
    Stranger client {target};
    std::atomic<bool> isOver = false;
    std::atomic<bool> strangersAct = true; ///< the server may still have a backlog afterwards
    std::vector<double> waitsMs {}; ///< while they acted
    double longestMs = 0; ///< during the misuse and afterwards
    bool isRight = logInAndAsk(client) && isAnswered(client); ///< every reply so far
};

void observe(Witness& witness)
{
    for (; !witness.isOver && witness.isRight; std::this_thread::sleep_for(5ms)) {
        const bool isMeanwhile = witness.strangersAct;
        QElapsedTimer timer;
        timer.start();
        witness.isRight = ask(witness.client) && isAnswered(witness.client);
        const double waitMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
        witness.longestMs = std::max(witness.longestMs, waitMs);
        if (isMeanwhile)
            witness.waitsMs.push_back(waitMs);
    }
}

/// Waits until the server has processed what the strangers sent, and serves only the witness.
void waitUntilThrough(const ServerProcess& server, int scale)
{
    const std::chrono::nanoseconds window = 500ms / std::min(scale, 5);
    const qint64 little = window.count() / 3; // a busy server takes more, even of a shared processor
    for (int windows = 0; windows < 20; ++windows) {
        const qint64 before = server.processorNs();
        std::this_thread::sleep_for(window);
        if (server.processorNs() - before < little)
            return;
    }
}

/// With limits, misuse costs a server less, and a client that respects them is still served.
/// \return a line for a table
QString runMisuse(const ServerProcess& server, const Misuse& misuse, int scale, bool limited)
{
    const rlimit descriptors {misuse.descriptors, misuse.descriptors};
    prlimit(server.processId(), RLIMIT_NOFILE, &descriptors, nullptr);
    Witness witness {{server.port(), QDeadlineTimer(4min)}};
    const qint64 memory = server.residentBytes();
    const qint64 processor = server.processorNs();
    std::thread observer([&] { observe(witness); });
    Crowd crowd {{server.port()}, scale};
    misuse.act(crowd);
    witness.strangersAct = false;
    waitUntilThrough(server, scale);
    witness.isOver = true;
    observer.join();

    const double growth = static_cast<double>(server.peakResidentBytes() - memory) / MiB;
    const double processorUs = static_cast<double>(server.processorNs() - processor) / 1000;
    const double megabytes = static_cast<double>(crowd.bytes) / 1e6;
    const double each = processorUs / (misuse.countsConnections ? static_cast<double>(crowd.connections) : megabytes);
    std::sort(witness.waitsMs.begin(), witness.waitsMs.end());
    const double medianMs = witness.waitsMs.empty() ? 0 : witness.waitsMs[witness.waitsMs.size() / 2];
    QString line = QString::asprintf("%.1f MB, %lld connections | %.2f ms, %.1f ms | %.1f MiB | %.0f us%s |", megabytes,
        crowd.connections, medianMs, witness.longestMs, growth, each, misuse.countsConnections ? " each" : "/MB");
    print(line);
    check(witness.isRight, u"every reply to the other client was right"_s);
    if (limited && scale == 1) // with other tests beside it, a machine may be slow
        check(witness.longestMs < 100, u"the other client waited less than 100 ms"_s);
    if (limited && !WithSanitizer)
        check(growth < misuse.mostGrowthMiB, u"memory grew by less than %1 MiB"_s.arg(misuse.mostGrowthMiB));
    return line;
}

/// \a only: the number of a misuse, from 1; 0 runs all
void runMisuses(int only, int scale)
{
    QString table = u"\n| | sent | the other client waited: median, longest | peak memory growth | processor time |\n"
                    "|---|---|---|---|---|"_s;
    int number = 0;
    for (const Misuse& misuse : Misuses) {
        ++number;
        qputenv("QT_LOGGING_RULES", misuse.logRules); // inherited by the servers
        for (const bool limited : {false, true}) {
            if ((only != 0 && only != number) || (scale > 1 && !limited))
                continue;
            const QString title = u"%1. %2, %3"_s.arg(number).arg(
                QLatin1String(misuse.title), limited ? u"with limits"_s : u"without limits"_s);
            runStage(title, limited ? u"--serve-with-limits"_s : u"--serve"_s, [&](const ServerProcess& server) {
                table += u"\n| "_s + title + u" | "_s + runMisuse(server, misuse, scale, limited);
            });
        }
    }
    print(table);
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1).startsWith("--serve"_L1))
        return serve(arguments.value(2).toUShort(), arguments.at(1) == "--serve-with-limits"_L1);
    QCommandLineParser parser;
    parser.addOptions({{u"only"_s, {}, u"ROW"_s, u"0"_s}, {u"short"_s, {}}});
    const bool isParsed = parser.parse(arguments);
    const QString row = parser.value(u"only"_s);
    const int only = row.toInt();
    if (!isParsed || !parser.positionalArguments().isEmpty() || QString::number(only) != row || only < 0
        || only > std::ssize(Misuses)) {
        static_cast<void>(std::fputs("Invalid arguments: see soak/run --help\n", stderr));
        return 2;
    }
    const int scale = parser.isSet(u"short"_s) ? 20 : 1;
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // from writing after the server has disconnected
    if (!allowOpenFiles(std::max(2000, 20'000 / scale)))
        return 1;
    runMisuses(only, scale);
    return hasPassed ? 0 : 1;
}
