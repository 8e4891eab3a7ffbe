#include "World.h"

#include "Log.h"
#include "Peer.h"
#include "Promises.h"
#include "RandomHost.h"
#include "Sanitizers.h"

#include <QCoreApplication>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace world {

namespace {

constexpr int64_t MemoryThatMayStay = 3 << 20; // what Qt and TLS keep for reuse
constexpr int64_t MemoryForAll = 48 << 20; // while clients are there, beside what each may take
constexpr int64_t MemoryForEach = 400 << 10; // includes the client's own part in this process
constexpr rlim_t StackInCrowd = (WithSanitizer ? 8 : 3) << 20; // hundreds of nested calls must not need more
constexpr rlim_t Descriptors = 2'048; // enough for a crowd, few enough to run out of
constexpr int LastRounds = 100; // of the host, for one of the clients that have left
constexpr unsigned HangSeconds = 120; // without a round of the event loop

int64_t memoryInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<int64_t>(info.uordblks + info.hblkhd);
}

int64_t descriptorsInUse()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

void setSoftLimit(__rlimit_resource resource, rlim_t value)
{
    rlimit limit {};
    getrlimit(resource, &limit);
    limit.rlim_cur = std::min(value, limit.rlim_max);
    setrlimit(resource, &limit);
}

RandomHost* host = nullptr;

void handleLine(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    writeLine(qFormatLogMessage(type, context, text).toStdString());
    if (host != nullptr && (type == QtDebugMsg || type == QtInfoMsg))
        host->handleLine(context.category, text.toStdString());
}

void checkFigure(const char* promise, int64_t value, int64_t most)
{
    if (value > most)
        note("broken", promise + (": " + std::to_string(value)) + ", allowed: " + std::to_string(most));
}

void playAll(const std::vector<std::string>& acts, Figures& figures)
{
    Shared shared {figures};
    const int64_t memory = memoryInUse();
    RandomHost randomHost(acts, shared);
    host = &randomHost;
    if (randomHost.hasCrowd())
        setSoftLimit(RLIMIT_STACK, StackInCrowd);
    std::vector<std::unique_ptr<Peer>> peers;
    for (const std::string& each : acts)
        if (each.starts_with("client "))
            peers.push_back(std::make_unique<Peer>(each, shared));
    std::atomic<bool> done {false};
    std::thread clients([&] {
        play(peers, shared);
        done = true;
    });
    int64_t highest = 0;
    int roundsLeft = LastRounds;
    qsizetype clientsLeft = 0;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        highest = std::max(highest, memoryInUse());
        ++shared.rounds;
        // What clients have sent before they left is carried out before they are released.
        const qsizetype clientsBefore = std::exchange(clientsLeft, randomHost.clientCount());
        if (clientsLeft != clientsBefore)
            roundsLeft = LastRounds;
        if (done && (clientsLeft == 0 || --roundsLeft == 0))
            QCoreApplication::quit();
        else
            alarm(HangSeconds);
    });
    watch.start(20);
    QCoreApplication::exec();
    host = nullptr;
    randomHost.end();
    clients.join();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    figures.clients += static_cast<int64_t>(peers.size());
    checkFigure("memory", highest - memory, MemoryForAll + static_cast<int64_t>(peers.size()) * MemoryForEach);
    for (const std::string& each : findBreaches(acts, readLog(readAll(STDERR_FILENO)), peers))
        note("broken", each);
}

/// First an empty world, for what is made once in a process and is no leak.
void playTwice(const std::vector<std::string>& acts, Figures& figures)
{
    Figures none;
    playAll({"world 0 lines=off audit=off observer=off"}, none);
    const int64_t memory = memoryInUse();
    const int64_t descriptors = descriptorsInUse();
    playAll(acts, figures);
    checkFigure("memory", memoryInUse() - memory, MemoryThatMayStay);
    checkFigure("descriptors", descriptorsInUse() - descriptors, 0);
}

[[noreturn]] void playHere(const std::vector<std::string>& acts, Figures& figures, int log)
{
    dup2(log, STDERR_FILENO);
    close(log);
    setSoftLimit(RLIMIT_NOFILE, Descriptors);
    alarm(HangSeconds);
    setUpLog();
    {
        int argc = 1;
        std::string name = "orvane-world";
        std::array<char*, 2> argv {name.data(), nullptr};
        const QCoreApplication application(argc, argv.data());
        qInstallMessageHandler(&handleLine);
        playTwice(acts, figures);
        qInstallMessageHandler(nullptr);
    }
    std::exit(0);
}

} // namespace

Outcome playApart(const std::vector<std::string>& acts, Figures& figures)
{
    const int log = memfd_create("world", MFD_CLOEXEC);
    fcntl(log, F_SETFL, O_APPEND); // several threads write
    static_cast<void>(std::fflush(stdout)); // or the child writes it again
    const pid_t child = fork();
    if (child == 0)
        playHere(acts, figures, log);
    int status = 0;
    waitpid(child, &status, 0);
    Outcome outcome {{}, readAll(log)};
    close(log);
    for (const Line& each : readLog(outcome.log))
        if (each.type == "broken")
            outcome.breaches.push_back(each.text);
    if (status != 0)
        outcome.breaches.push_back((WTERMSIG(status) == SIGALRM ? "hang: " : "crash: ") + std::to_string(status));
    return outcome;
}

} // namespace world
