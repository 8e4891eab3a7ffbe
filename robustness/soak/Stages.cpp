#include "Stages.h"

#include "Client.h"
#include "Clients.h"
#include "Host.h"
#include "ServerProcess.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <sys/socket.h>
#include <vector>

namespace soak {

namespace {

constexpr int CyclesAtOnce = 20;
constexpr int RoundsOfCommands = 5;
constexpr qint64 MaxGrowthPerCycle = 1024; // bytes
constexpr int EnoughCyclesToTell = 5000; // with fewer the allocator's pages outweigh what a cycle leaves
constexpr qint64 MaxGrowthPerConnection = 512; // bytes; 300 or so are the object that stays
constexpr int RecorderListsUnread = 200;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool MemoryTells = false; // the sanitizers keep what was freed
#else
constexpr bool MemoryTells = true;
#endif

QString inMiB(qint64 bytes)
{
    return QStringLiteral("%1 MiB").arg(static_cast<double>(bytes) / (1024 * 1024), 0, 'f', 1);
}

/// What each stage does with its server at its end, where nothing may be left of what came before.
void endServer(ServerProcess& server, Report& report)
{
    report.check(server.stop(), QStringLiteral("the server is destroyed and its process ends with status 0"));
    const QStringList lines = server.errorLines().filter(QStringLiteral("ERROR: "));
    for (const QString& line : lines)
        report.check(false, line);
}

/// Clients with their handshakes done, not yet logged in; fewer when that took too long.
Clients connectClients(const ServerProcess& server, int count, Report& report)
{
    const auto progress = [&](int connected) { report.progress(QStringLiteral("connected"), connected, count); };
    return ::connectClients(server.port(), count, progress);
}

/// Sends a round of commands, each with a mark of client and round where it can carry one. \return the replies
QByteArray sendRound(TlsClient& client, int number, int round)
{
    const QByteArray mark = "c" + QByteArray::number(number) + "r" + QByteArray::number(round);
    client.send("<showLive><splitid>3</splitid><commandtag>" + mark + "</commandtag></showLive>");
    client.send("<setPreset/>");
    client.write("<" + mark + "/>\r\n");
    client.write("\r\n<getPresetsList/>\r\n\r\n<showLiveAtSubsplit/>\r\n\r\n");
    return reply("commandAccepted",
               "<command>showLive</command><splitid>3</splitid><commandtag>" + mark + "</commandtag>")
        + shortAcceptance("setPreset") + rejection(mark, "Unknown command")
        + reply("getPresetsListResponse", "<preset name=\"Preset\" />") + shortAcceptance("showLiveAtSubsplit");
}

/// The time of a short command from the writing to the whole reply; negative when it did not come, or another did.
qint64 roundTripMicroseconds(TlsClient& client, int longestSeconds)
{
    const QByteArray expected = shortAcceptance("setPreset");
    client.received.clear();
    QElapsedTimer timer;
    timer.start();
    client.send("<setPreset/>");
    if (!waitFor([&] { return client.received.size() >= expected.size(); }, longestSeconds * 1000))
        return -1;
    return client.received == expected ? timer.nsecsElapsed() / 1000 : -1;
}

bool isServed(TlsClient& client)
{
    constexpr int patienceSeconds = 120;
    return roundTripMicroseconds(client, patienceSeconds) >= 0;
}

void reportRoundTrips(std::vector<qint64> microseconds, int longestSeconds, Report& report)
{
    std::sort(microseconds.begin(), microseconds.end());
    report.note(QStringLiteral("round trip: median %1 ms, slowest %2 ms")
                    .arg(static_cast<double>(microseconds[microseconds.size() / 2]) / 1000)
                    .arg(static_cast<double>(microseconds.back()) / 1000));
    report.check(
        microseconds.front() >= 0, QStringLiteral("every reply came, none after more than %1 s").arg(longestSeconds));
}

/// \a count cycles, in turn of every way of leaving. \return how many went wrong
int runSomeCycles(const ServerProcess& server, int count, Report& report)
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
        report.progress(QStringLiteral("cycles"), number, count);
    }
    waitFor([&] { return takeOutDone(), running.empty(); });
    return failures + static_cast<int>(running.size());
}

void checkGrowth(qint64 growth, int cycles, qint64 mostForEach, Report& report)
{
    const QString text =
        QStringLiteral("the memory grew by %1, %2 bytes for each cycle").arg(inMiB(growth)).arg(growth / cycles);
    if (!MemoryTells || cycles < EnoughCyclesToTell)
        report.note(text + QStringLiteral(" (too few cycles, or a sanitizer: not checked)"));
    else
        report.check(growth / cycles < mostForEach, text);
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

/// Clients that are no good, each in a way of its own, as long as it lives.
class BadClients : public QObject {
    Q_OBJECT

public:
    explicit BadClients(quint16 port);
    bool areAllConnected() const;

private:
    void sendWhenConnected(QTcpSocket& socket, quint16 port, const QByteArray& bytes);

    QTcpSocket plainText;
    QTcpSocket randomBytes;
    QTcpSocket halfHandshake;
    TlsClient slow;
    TlsClient deaf;
    QTimer clock;
};

BadClients::BadClients(quint16 port)
{
    QByteArray noise(4096, Qt::Uninitialized);
    std::generate(
        noise.begin(), noise.end(), [] { return static_cast<char>(QRandomGenerator::global()->bounded(256)); });
    sendWhenConnected(plainText, port, "<setPreset/>\r\n\r\n");
    sendWhenConnected(randomBytes, port, noise);
    sendWhenConnected(halfHandshake, port, QByteArrayLiteral("\x16\x03\x01\x02\x00\x01"));

    constexpr int slowByteMs = 20;
    slow.connectToPort(port);
    connect(&clock, &QTimer::timeout, &slow, [this] {
        if (slow.isEncrypted())
            slow.write("<");
    });
    clock.start(slowByteMs);

    // Reads nothing of the replies itself, and has hardly any room for Qt to do so.
    constexpr qint64 room = 1024;
    deaf.disconnect(&deaf);
    deaf.setReadBufferSize(room);
    connect(&deaf, &QSslSocket::encrypted, &deaf, [this] {
        deaf.loginAsOrvane();
        for (int count = 0; count < RecorderListsUnread; ++count)
            deaf.send("<getRecorderList/>");
    });
    deaf.connectToPort(port);
}

bool BadClients::areAllConnected() const
{
    return slow.isEncrypted() && deaf.isEncrypted() && halfHandshake.state() == QAbstractSocket::ConnectedState;
}

void BadClients::sendWhenConnected(QTcpSocket& socket, quint16 port, const QByteArray& bytes)
{
    connect(&socket, &QAbstractSocket::connected, &socket, [&socket, bytes] { socket.write(bytes); });
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
}

} // namespace

void runManyClients(const Options& options, Report& report)
{
    report.beginStage(QStringLiteral("%1 clients at once").arg(options.clients));
    ServerProcess server;
    if (!report.check(server.start(), QStringLiteral("the server listens")))
        return;
    QElapsedTimer timer;
    timer.start();
    const Clients clients = connectClients(server, options.clients, report);
    report.note(QStringLiteral("connected in %1 s").arg(static_cast<double>(timer.restart()) / 1000));
    report.check(static_cast<int>(clients.size()) == options.clients,
        QStringLiteral("%1 clients are connected").arg(clients.size()));

    std::vector<QByteArray> expected(clients.size());
    for (const auto& client : clients)
        client->loginAsOrvane();
    for (int round = 0; round < RoundsOfCommands; ++round) {
        for (size_t number = 0; number < clients.size(); ++number)
            expected[number] += sendRound(*clients[number], static_cast<int>(number), round);
    }
    const auto complete = [&](size_t number) { return clients[number]->received.size() >= expected[number].size(); };
    size_t answered = 0;
    waitFor([&] {
        while (answered < clients.size() && complete(answered))
            ++answered;
        return answered == clients.size();
    });
    int right = 0;
    for (size_t number = 0; number < clients.size(); ++number)
        right += clients[number]->received == expected[number] ? 1 : 0;
    report.note(QStringLiteral("%1 commands answered in %2 s; the server has %3 in memory")
                    .arg(clients.size() * RoundsOfCommands * 5)
                    .arg(static_cast<double>(timer.elapsed()) / 1000)
                    .arg(inMiB(server.residentBytes())));
    report.check(right == options.clients, QStringLiteral("%1 clients have all their replies, in order").arg(right));
    endServer(server, report);
}

void runCycles(const Options& options, Report& report)
{
    report.beginStage(QStringLiteral("%1 clients come and go").arg(options.cycles));
    ServerProcess server;
    if (!report.check(server.start(), QStringLiteral("the server listens")))
        return;
    const int warmUp = std::max(2 * CyclesAtOnce, options.cycles / 20);
    const int descriptors = server.openDescriptors();
    int failures = runSomeCycles(server, warmUp, report);
    waitFor([&] { return server.openDescriptors() == descriptors; });
    const qint64 memory = server.residentBytes();

    QElapsedTimer timer;
    timer.start();
    failures += runSomeCycles(server, options.cycles, report);
    report.note(
        QStringLiteral("%1 cycles in %2 s").arg(options.cycles).arg(static_cast<double>(timer.elapsed()) / 1000));
    report.check(failures == 0, QStringLiteral("%1 cycles went wrong").arg(failures));
    waitFor([&] { return server.openDescriptors() == descriptors; });
    report.check(server.openDescriptors() == descriptors,
        QStringLiteral("%1 descriptors before, %2 after").arg(descriptors).arg(server.openDescriptors()));
    checkGrowth(server.residentBytes() - memory, options.cycles, MaxGrowthPerCycle, report);
    endServer(server, report);
}

void runConnections(const Options& options, Report& report)
{
    report.beginStage(QStringLiteral("%1 connections come and go without a word").arg(options.connections));
    ServerProcess server;
    if (!report.check(server.start(), QStringLiteral("the server listens")))
        return;
    const int sample = std::max(CyclesAtOnce, options.connections / 100);
    int failures = 0;
    const double first = connectionCost(server, sample, failures);
    server.waitUntilIdle();
    const int descriptors = server.openDescriptors();
    const qint64 memory = server.residentBytes();
    constexpr int parts = 5;
    for (int part = 1; part <= parts; ++part) {
        failures += connectWithoutAWord(server, options.connections / parts);
        report.progress(QStringLiteral("connections"), part, parts);
    }
    server.waitUntilIdle();
    const qint64 growth = server.residentBytes() - memory;
    const double last = connectionCost(server, sample, failures);
    report.note(
        QStringLiteral("processor time of the server for each: %1 us at first, %2 us at last").arg(first).arg(last));
    report.check(failures == 0, QStringLiteral("%1 connections went wrong").arg(failures));
    report.check(server.openDescriptors() == descriptors,
        QStringLiteral("%1 descriptors before, %2 after").arg(descriptors).arg(server.openDescriptors()));
    checkGrowth(growth, options.connections, MaxGrowthPerConnection, report);
    endServer(server, report);
}

void runLogWindow(const Options& options, Report& report)
{
    const int cycles = std::max(CyclesAtOnce, options.cycles / 10);
    report.beginStage(
        QStringLiteral("%1 clients come and go, and the host runs an event loop in each line").arg(cycles));
    ServerProcess server(QStringLiteral("--serve-with-log-window"));
    if (!report.check(server.start(), QStringLiteral("the server listens")))
        return;
    const int failures = runSomeCycles(server, cycles, report);
    report.check(failures == 0, QStringLiteral("%1 cycles went wrong").arg(failures));
    endServer(server, report);
}

void runMisbehaviour(const Options& options, Report& report)
{
    report.beginStage(QStringLiteral("clients misbehave"));
    ServerProcess server;
    if (!report.check(server.start(), QStringLiteral("the server listens")))
        return;
    const Clients witnesses = connectClients(server, 1, report);
    if (!report.check(!witnesses.empty(), QStringLiteral("a client is connected that behaves")))
        return;
    TlsClient& witness = *witnesses.front();
    witness.loginAsOrvane();

    std::vector<qint64> alone;
    alone.reserve(static_cast<size_t>(options.roundTrips));
    for (int count = 0; count < options.roundTrips; ++count)
        alone.push_back(roundTripMicroseconds(witness, options.longestRoundTrip));
    report.note(QStringLiteral("alone:"));
    reportRoundTrips(std::move(alone), options.longestRoundTrip, report);

    const qint64 memory = server.residentBytes();
    const BadClients bad(server.port());
    std::vector<qint64> besideOthers;
    int count = 0;
    while (count < options.roundTrips || !bad.areAllConnected()) {
        besideOthers.push_back(roundTripMicroseconds(witness, options.longestRoundTrip));
        if (besideOthers.back() < 0)
            break;
        report.progress(QStringLiteral("round trips"), ++count, options.roundTrips);
    }
    report.note(QStringLiteral("beside plain text, random bytes, half a handshake, a slow client and one that does not "
                               "read %1 lists of %2 recorders, for which the server keeps %3:")
                    .arg(RecorderListsUnread)
                    .arg(RecorderCount)
                    .arg(inMiB(server.residentBytes() - memory)));
    reportRoundTrips(std::move(besideOthers), options.longestRoundTrip, report);
    endServer(server, report);
}

void runWithoutDescriptors(const Options&, Report& report)
{
    report.beginStage(QStringLiteral("no descriptor is left"));
    constexpr int places = 3;
    ServerProcess server;
    if (!report.check(server.start(), QStringLiteral("the server listens")))
        return;
    Clients clients = connectClients(server, places, report);
    if (!report.check(clients.size() == places, QStringLiteral("%1 clients are connected").arg(clients.size())))
        return;
    for (const auto& client : clients)
        client->loginAsOrvane();
    isServed(*clients.front()); // so that all that the server opens on the way is open
    if (!report.check(server.allowMoreDescriptors(0), QStringLiteral("the server can open nothing more")))
        return;

    TlsClient waiting;
    waiting.connectToPort(server.port());
    const auto errorIsLogged = [&] {
        return !server.errorLines().filter(QStringLiteral("OrvaneConnection server error:")).isEmpty();
    };
    const bool isLogged = waitFor(errorIsLogged, 10000);
    report.check(isLogged, QStringLiteral("the accept error is logged: %1").arg(server.errorLines().join(u'|')));
    int served = 0;
    for (const auto& client : clients)
        served += isServed(*client) ? 1 : 0;
    report.check(served == places, QStringLiteral("the %1 clients that are there are served").arg(served));
    constexpr int observationMs = 2000;
    const qint64 computed = server.processorNs();
    waitFor([] { return false; }, observationMs);
    const qint64 spent = (server.processorNs() - computed) / 1'000'000;
    report.check(spent < observationMs / 4,
        QStringLiteral("the server has computed for %1 ms in the next %2 s").arg(spent).arg(observationMs / 1000));
    report.check(!waiting.isEncrypted(), QStringLiteral("the one that came too late is not served"));

    clients.pop_back();
    const bool admitted = waitFor([&] { return waiting.isEncrypted(); }, 10000);
    waiting.loginAsOrvane();
    report.check(admitted && isServed(waiting), QStringLiteral("it is served when another has left"));
    endServer(server, report);
}

void runRandomShortages(const Options&, Report& report)
{
    report.beginStage(QStringLiteral("descriptors run out and are freed in random orders"));
    constexpr int rounds = 12;
    constexpr int mostClients = 3;
    constexpr int plenty = 50;
    constexpr int patienceMs = 10000; // beyond two seconds for a busy machine
    ServerProcess server;
    if (!report.check(server.start(), QStringLiteral("the server listens")))
        return;
    connectClients(server, 1, report); // so that all that the server opens on the way is open
    const auto random = [](int below) { return QRandomGenerator::global()->bounded(below); };
    int served = 0;
    for (int round = 0; round < rounds; ++round) {
        Clients clients = connectClients(server, random(mostClients + 1), report);
        if (random(2) == 0)
            clients.clear(); // they leave before anybody comes
        server.waitUntilIdle();
        server.allowMoreDescriptors(0);
        QTcpSocket silent; // it takes what is freed first
        if (random(2) == 0)
            silent.connectToHost(QHostAddress(QHostAddress::LocalHost), server.port());
        TlsClient waiting;
        waiting.connectToPort(server.port());
        waitFor([] { return false; }, random(patienceMs / 5));
        if (!clients.empty() && random(2) == 0)
            clients.pop_back();
        waitFor([] { return false; }, random(patienceMs / 10));
        server.allowMoreDescriptors(plenty);
        const bool admitted = waitFor([&] { return waiting.isEncrypted(); }, patienceMs);
        waiting.loginAsOrvane();
        served += admitted && isServed(waiting) ? 1 : 0;
        report.progress(QStringLiteral("rounds"), round + 1, rounds);
    }
    report.check(served == rounds, QStringLiteral("%1 of %2 who had to wait were served").arg(served).arg(rounds));
    const auto errors = server.errorLines().filter(QStringLiteral("OrvaneConnection server error:")).size();
    report.check(errors > 0 && errors <= rounds, QStringLiteral("%1 shortages were logged").arg(errors));
    endServer(server, report);
}

} // namespace soak

#include "Stages.moc"
