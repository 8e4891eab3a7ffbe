#include "World.h"

#include "Log.h"
#include "Peer.h"
#include "Promises.h"
#include "RandomHost.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <malloc.h>
#include <memory>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace world {

namespace {

constexpr int64_t MemoryThatMayStay = 3 << 20; // what Qt and TLS keep for their next use
constexpr int64_t MemoryForAll = 48 << 20; // beside what each client may take, while they are there
constexpr int64_t MemoryForEach = 400 << 10; // the client's own part in this process, too
#if defined(__SANITIZE_ADDRESS__)
constexpr rlim_t StackInCrowd = 8 << 20; // with the sanitizer each function takes more
#else
constexpr rlim_t StackInCrowd = 3 << 20; // calls inside of hundreds of others must not need more
#endif
constexpr int BreachStatus = 1;

int64_t memoryInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<int64_t>(info.uordblks + info.hblkhd);
}

int64_t descriptorsInUse()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

/// Of the main thread, at most.
void setStack(rlim_t size)
{
    rlimit limit {};
    getrlimit(RLIMIT_STACK, &limit);
    limit.rlim_cur = std::min(size, limit.rlim_max);
    setrlimit(RLIMIT_STACK, &limit);
}

RandomHost* host = nullptr;

void handleLine(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    writeLine(qFormatLogMessage(type, context, text).toStdString());
    if (host != nullptr && (type == QtDebugMsg || type == QtInfoMsg))
        host->handleLine(context.category, text.toStdString());
}

/// Plays all clients, in a thread of its own.
void playClients(const std::vector<std::unique_ptr<Peer>>& peers, Shared& shared)
{
    constexpr int TurnMs = 2;
    std::vector<pollfd> polled;
    while (std::any_of(peers.begin(), peers.end(), [](const auto& each) { return each->doneAt == 0; })) {
        polled.clear();
        for (const auto& each : peers)
            if (const short events = each->events(); events != 0 && each->doneAt == 0)
                polled.push_back({each->descriptor(), events, 0});
        poll(polled.data(), polled.size(), TurnMs);
        const int64_t now = nowMs();
        auto next = polled.begin();
        for (const auto& each : peers) {
            const bool isNext = next != polled.end() && next->fd == each->descriptor();
            each->advance(now, isNext ? (next++)->revents : short {0});
        }
    }
    shared.clientsAreDone = true;
}

class World {
public:
    World(const std::vector<std::string>& acts, Figures& figures)
        : acts(acts)
        , figures(figures)
    {
    }

    /// Whether all promises were kept.
    bool play()
    {
        warmUp();
        const int64_t memory = memoryInUse();
        const int64_t descriptors = descriptorsInUse();
        playAll(memory);
        check("memory", memoryInUse() - memory, MemoryThatMayStay, "bytes are left");
        check("descriptors", descriptorsInUse() - descriptors, 0, "are left");
        return passed;
    }

private:
    /// What is made once in a process is no leak.
    void warmUp()
    {
        Shared shared;
        RandomHost first({"world 0 lines=off audit=off"}, shared);
        first.begin(1);
        QCoreApplication::processEvents();
        first.end();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void check(const char* promise, int64_t value, int64_t most, const char* what)
    {
        if (value > most)
            fail(std::string(promise) + ": " + std::to_string(value) + " " + what + ", " + std::to_string(most)
                + " may be");
    }

    void fail(const std::string& breach)
    {
        passed = false;
        note("broken", breach);
    }

    void playAll(int64_t memoryBefore)
    {
        Shared shared;
        RandomHost randomHost(acts, shared);
        host = &randomHost;
        if (randomHost.hasCrowd())
            setStack(StackInCrowd);
        randomHost.begin(std::stoi(valueOf(acts.at(0), "servers")));
        std::vector<std::unique_ptr<Peer>> peers;
        std::vector<std::thread> threads;
        for (const std::string& each : acts) {
            if (each.rfind("client ", 0) == 0)
                peers.push_back(
                    std::make_unique<Peer>(each, socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0),
                        shared.ports.at(std::stoul(valueOf(each, "slot")))));
            if (each.rfind("storm ", 0) == 0)
                threads.emplace_back([&shared, each] {
                    std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(valueOf(each, "at"))));
                    storm(shared, std::stoi(valueOf(each, "slot")), std::stoi(valueOf(each, "ms")));
                });
        }
        if (valueOf(acts.at(0), "witness") == "on")
            threads.emplace_back([&shared, this] { bearWitness(shared, figures); });
        threads.emplace_back([&shared, &peers] { playClients(peers, shared); });

        const int64_t most = memoryBefore + MemoryForAll + static_cast<int64_t>(peers.size()) * MemoryForEach;
        int64_t highest = 0;
        QTimer watch;
        QObject::connect(&watch, &QTimer::timeout, [&] {
            highest = std::max(highest, memoryInUse());
            if (shared.clientsAreDone && !randomHost.isBusy())
                QCoreApplication::quit();
        });
        watch.start(20);
        QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &watch,
            [&shared] { ++shared.turns; });
        QCoreApplication::exec();
        randomHost.end();
        host = nullptr;
        for (std::thread& each : threads)
            each.join();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        check("memory", highest, most, "bytes were in use at once");
        for (const auto& each : peers)
            figures.commands += static_cast<int64_t>(each->messages.size());
        figures.clients += static_cast<int64_t>(peers.size());
        for (const std::string& each : findBreaches(acts, readLog(STDERR_FILENO), peers))
            fail(each);
    }

    const std::vector<std::string>& acts;
    Figures& figures;
    bool passed = true;
};

[[noreturn]] void playHere(const std::vector<std::string>& acts, Figures& figures, int log)
{
    dup2(log, STDERR_FILENO);
    close(log);
    setUpLog();
    bool passed = false;
    {
        int argc = 1;
        std::string name = "orvane-world";
        std::array<char*, 2> argv {name.data(), nullptr};
        const QCoreApplication application(argc, argv.data());
        qInstallMessageHandler(&handleLine);
        passed = World(acts, figures).play();
        qInstallMessageHandler(nullptr);
    }
    std::exit(passed ? 0 : BreachStatus);
}

} // namespace

Outcome playApart(const std::vector<std::string>& acts, Figures& figures, int hangSeconds)
{
    const int log = memfd_create("world", MFD_CLOEXEC);
    fcntl(log, F_SETFL, O_APPEND); // several threads write
    static_cast<void>(std::fflush(stdout)); // or the child writes it again
    const pid_t child = fork();
    if (child == 0)
        playHere(acts, figures, log);
    int status = 0;
    bool hangs = false;
    off_t size = 0;
    int64_t grownAt = nowMs();
    while (waitpid(child, &status, WNOHANG) == 0) {
        usleep(2'000);
        struct stat now { };
        fstat(log, &now);
        if (now.st_size != size)
            grownAt = nowMs();
        size = now.st_size;
        if (!hangs && nowMs() - grownAt > int64_t(hangSeconds) * 1000) {
            hangs = true;
            kill(child, SIGKILL);
        }
    }
    Outcome outcome;
    const std::vector<Line> lines = readLog(log);
    for (const Line& each : lines)
        if (each.type == "broken")
            outcome.breaches.push_back(each.text);
    if (hangs)
        outcome.breaches.insert(outcome.breaches.begin(), "hang: no line for " + std::to_string(hangSeconds) + " s");
    else if (WIFSIGNALED(status))
        outcome.breaches.insert(outcome.breaches.begin(), std::string("crash: ") + strsignal(WTERMSIG(status)));
    else if (status != 0 && outcome.breaches.empty())
        outcome.breaches.push_back("crash: status " + std::to_string(WEXITSTATUS(status)));
    outcome.log = readAll(log);
    close(log);
    return outcome;
}

std::string promiseOf(const std::string& breach)
{
    return breach.substr(0, breach.find(':'));
}

} // namespace world
