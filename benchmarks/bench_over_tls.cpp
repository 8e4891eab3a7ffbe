#include "BareParse.h"
#include "ComparisonTable.h"
#include "Documents.h"
#include "ServedProcess.h"
#include "ServerProcess.h"
#include "TlsClient.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDeadlineTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <memory>
#include <sched.h>
#include <sys/resource.h>
#include <vector>

// What a server costs its host, measured from the outside: the processor time and the memory of a process with nothing
// but a server in it, under the load of TLS clients in this one. Measured thing and limit take turns, so that a busy
// moment of the machine meets both; the table shows the medians.

namespace {

using Clients = std::vector<std::unique_ptr<TlsClient>>;

constexpr int ClientCount = 1000;
constexpr int HandshakesAtOnce = 40; // below the backlog of the listening socket, beyond which connecting takes seconds
constexpr int CycleCount = 10000;
constexpr int CycleWarmUp = 1000;
constexpr int PatienceMs = 60000;

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

[[noreturn]] void fail(const char* what)
{
    std::fprintf(stderr, "bench_over_tls: %s\n", what);
    std::exit(1);
}

void require(bool condition, const char* what)
{
    if (!condition)
        fail(what);
}

template <typename Condition> void waitFor(Condition condition, const char* what)
{
    const QDeadlineTimer deadline(PatienceMs);
    while (!condition()) {
        require(!deadline.hasExpired(), what);
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
}

/// Keeps this process, and those that it starts meanwhile, on one processor: otherwise the time of a command depends on
/// whether the two take turns on one processor, or each has to wake up another one that sleeps.
class OneProcessor {
public:
    OneProcessor()
    {
        require(sched_getaffinity(0, sizeof before, &before) == 0, "the processors are not known");
        size_t first = 0;
        while (!CPU_ISSET(first, &before))
            ++first;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        require(sched_setaffinity(0, sizeof one, &one) == 0, "no processor can be chosen");
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof before, &before); }
    Q_DISABLE_COPY_MOVE(OneProcessor)

private:
    cpu_set_t before {};
};

/// Clients with their handshakes done.
Clients connectClients(const ServerProcess& server, int count)
{
    Clients clients;
    const auto inHandshake = [&] {
        return std::count_if(
            clients.cbegin(), clients.cend(), [](const auto& client) { return !client->isEncrypted(); });
    };
    for (int number = 1; number <= count; ++number) {
        clients.push_back(std::make_unique<TlsClient>());
        clients.back()->open(server.port());
        const int allowed = number == count ? 0 : HandshakesAtOnce;
        waitFor([&] { return inHandshake() <= allowed; }, "a handshake took too long");
    }
    return clients;
}

std::unique_ptr<TlsClient> connectClient(const ServerProcess& server)
{
    auto client = std::move(connectClients(server, 1).front());
    client->loginAsOrvane();
    return client;
}

/// Has the server answer a number of showLive, so many at a time. \return its processor time for each, in microseconds
double commandCost(const ServerProcess& server, TlsClient& client, int commands, int atATime)
{
    const QByteArray batch = (showLiveDocument().toUtf8() + "\r\n\r\n").repeated(atATime);
    const qsizetype expected = showLiveReply().size() * atATime;
    const qint64 before = server.processorNs();
    for (int sent = 0; sent < commands; sent += atATime) {
        client.received.clear();
        client.write(batch);
        while (client.received.size() < expected)
            require(client.waitForReadyRead(PatienceMs), "a reply did not come");
        require(client.received == showLiveReply().repeated(atATime), "a reply was wrong");
    }
    return static_cast<double>(server.processorNs() - before) / 1000 / commands;
}

/// Processor time of reading the tokens of showLive, in microseconds.
double bareParseCost()
{
    constexpr int documents = 20000;
    const QString document = showLiveDocument();
    const auto processorNs = [] {
        timespec time {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return qint64(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
    };
    const qint64 before = processorNs();
    for (int count = 0; count < documents; ++count)
        require(parseBare(document), "showLive is not well-formed");
    return static_cast<double>(processorNs() - before) / 1000 / documents;
}

void measureCommands(ComparisonTable& table)
{
    constexpr int repetitions = 11;
    constexpr int pipelined = 100;
    const OneProcessor oneProcessor;
    ServerProcess library;
    ServerProcess fixed(QStringLiteral("--serve-fixed-replies"));
    require(library.start() && fixed.start(), "a server did not start");
    const auto libraryClient = connectClient(library);
    const auto fixedClient = connectClients(fixed, 1);

    struct Costs {
        std::vector<double> measured;
        std::vector<double> limit;
    };
    Costs manyAtATime;
    Costs oneAtATime;
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        constexpr int commands = 5000;
        manyAtATime.measured.push_back(commandCost(library, *libraryClient, commands, pipelined));
        manyAtATime.limit.push_back(commandCost(fixed, *fixedClient.front(), commands, pipelined) + bareParseCost());
        constexpr int roundTrips = 1000;
        oneAtATime.measured.push_back(commandCost(library, *libraryClient, roundTrips, 1));
        oneAtATime.limit.push_back(commandCost(fixed, *fixedClient.front(), roundTrips, 1));
    }
    table.add({QStringLiteral("showLive over TLS, 100 at a time"), median(manyAtATime.measured),
        QStringLiteral("a server of fixed replies, and the bare parse"), median(manyAtATime.limit),
        QStringLiteral("us"), 1.3});
    table.add({QStringLiteral("showLive over TLS, one at a time"), median(oneAtATime.measured),
        QStringLiteral("a server of fixed replies"), median(oneAtATime.limit), QStringLiteral("us"), 1.4});
}

/// What each client takes of the server's memory, in KiB. The first clients are not counted: with them comes what the
/// process needs once.
double memoryOfClient(const ServerProcess& server, Clients& clients, bool login)
{
    constexpr int first = 20;
    clients = connectClients(server, first);
    server.waitUntilIdle();
    const qint64 before = server.residentBytes();
    Clients counted = connectClients(server, ClientCount);
    if (login) {
        for (const auto& client : counted)
            client->loginAsOrvane();
        waitFor(
            [&] {
                return std::none_of(counted.cbegin(), counted.cend(), [](const auto& client) {
                    return client->bytesToWrite() > 0 || client->encryptedBytesToWrite() > 0;
                });
            },
            "a login was not sent");
    }
    server.waitUntilIdle();
    const double growth = static_cast<double>(server.residentBytes() - before);
    std::move(counted.begin(), counted.end(), std::back_inserter(clients));
    return growth / 1024 / ClientCount;
}

void measureNotice(ServerProcess& server, const Clients& clients, ComparisonTable& table)
{
    constexpr int repetitions = 11;
    struct Costs {
        std::vector<double> call;
        std::vector<double> sent;
    };
    const auto measure = [&](const QByteArray& line, Costs& costs) {
        for (const auto& client : clients)
            client->received.clear();
        const QList<QByteArray> figures = server.ask(line).split(' ');
        require(figures.size() == 2, "the server did not answer");
        waitFor(
            [&] {
                return std::all_of(clients.cbegin(), clients.cend(),
                    [](const auto& client) { return client->received == refreshFinishedNotice(); });
            },
            "a notice did not come");
        costs.call.push_back(figures[0].toDouble() / 1000);
        costs.sent.push_back(figures[1].toDouble() / 1000);
    };

    Costs notice;
    Costs writes;
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        for (const auto& client : clients)
            client->send("<updateRecorderContents/>");
        waitFor(
            [&] {
                return std::none_of(clients.cbegin(), clients.cend(), [](const auto& client) {
                    return client->bytesToWrite() > 0 || client->encryptedBytesToWrite() > 0;
                });
            },
            "a command was not sent");
        server.waitUntilIdle();
        measure("notice", notice);
        measure("writes", writes);
    }
    const QString limitedBy = QStringLiteral("writing the same bytes to the same sockets");
    table.add({QStringLiteral("notice to 1,000 waiting clients, the call"), median(notice.call), limitedBy,
        median(writes.call), QStringLiteral("us"), 1.3});
    table.add({QStringLiteral("notice to 1,000 waiting clients, until it is sent"), median(notice.sent), limitedBy,
        median(writes.sent), QStringLiteral("us"), 1.3});
}

void measureClients(ComparisonTable& table)
{
    ServerProcess library;
    ServerProcess fixed(QStringLiteral("--serve-fixed-replies"));
    require(library.start() && fixed.start(), "a server did not start");
    Clients clients;
    const double limit = memoryOfClient(fixed, clients, false);
    const double measured = memoryOfClient(library, clients, true);
    table.add({QStringLiteral("memory of an idle logged-in client, of 1,000"), measured,
        QStringLiteral("a QSslSocket with its handshake done"), limit, QStringLiteral("KiB"), 1.1});

    for (const auto& client : clients)
        client->loginAsOrvane(); // the first ones
    measureNotice(library, clients, table);
}

void runCycles(const ServerProcess& server, int count)
{
    for (int done = 0; done < count; done += HandshakesAtOnce) {
        const Clients clients = connectClients(server, HandshakesAtOnce);
        for (const auto& client : clients)
            client->loginAsOrvane();
        for (const auto& client : clients)
            client->disconnectFromHost();
        waitFor(
            [&] {
                return std::all_of(clients.cbegin(), clients.cend(),
                    [](const auto& client) { return client->state() == QAbstractSocket::UnconnectedState; });
            },
            "a client could not leave");
    }
}

void measureWhatClientsLeave(ComparisonTable& table)
{
    ServerProcess server;
    require(server.start(), "the server did not start");
    const int descriptors = server.openDescriptors();
    runCycles(server, CycleWarmUp);
    server.waitUntilIdle();
    const qint64 memory = server.residentBytes();
    runCycles(server, CycleCount);
    server.waitUntilIdle();
    const double each = static_cast<double>(server.residentBytes() - memory) / CycleCount;
    table.add({QStringLiteral("memory left by a client that has come and gone, of 10,000"), each,
        QStringLiteral("1 KiB; %1 descriptors before, %2 after").arg(descriptors).arg(server.openDescriptors()), 1024,
        QStringLiteral("B"), 1});
}

/// The clients of both servers are in one process.
void raiseDescriptorLimit()
{
    constexpr rlim_t needed = 2 * ClientCount + 200;
    rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur >= needed)
        return;
    limit.rlim_cur = needed;
    require(needed <= limit.rlim_max && setrlimit(RLIMIT_NOFILE, &limit) == 0,
        "2,200 open files are needed, and not allowed: raise the limit (ulimit -Hn)");
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Measures what a server costs its host, over TLS."));
    parser.addHelpOption();
    const QCommandLineOption serve(
        QStringLiteral("serve"), QStringLiteral("Only serve, with the library."), QStringLiteral("port"));
    const QCommandLineOption serveFixed(QStringLiteral("serve-fixed-replies"),
        QStringLiteral("Only serve, with fixed replies."), QStringLiteral("port"));
    parser.addOptions({serve, serveFixed});
    parser.process(application);
    if (parser.isSet(serve))
        return serveCommands(parser.value(serve).toUShort());
    if (parser.isSet(serveFixed))
        return serveFixedReplies(parser.value(serveFixed).toUShort());

    raiseDescriptorLimit();
    ComparisonTable table;
    measureCommands(table);
    measureClients(table);
    measureWhatClientsLeave(table);
    table.print();
}
