#include "Clients.h"
#include "ComparisonTable.h"
#include "Documents.h"
#include "Measurement.h"
#include "ServedProcess.h"
#include "ServerProcess.h"
#include "TlsClient.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDeadlineTimer>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

using namespace Qt::StringLiterals;

// What a server costs its host, measured from outside: processor time and memory of a process that runs only a server,
// under the load of TLS clients in this one. The measured server and the limit take turns, so that a busy time of the
// machine affects both. The table shows the medians.

namespace {

constexpr int ClientCount = 1000;
constexpr int CycleCount = 10000;
constexpr int CycleWarmUp = 1000;
constexpr int CyclesAtOnce = 40;

void measureCommands(ComparisonTable& table)
{
    constexpr int repetitions = 40;
    constexpr int pipelined = 25; // as many as set up a wall of 25 splits
    const Exchange showLive {showLiveDocument().toUtf8() + "\r\n\r\n", showLiveReply()};
    const OneProcessor oneProcessor;
    ServerProcess library;
    ServerProcess fixed(u"--serve-fixed-replies"_s);
    require(library.start() && fixed.start(), "a server did not start");
    const Clients libraryClient = connectAll(library, 1);
    const Clients fixedClient = connectAll(fixed, 1);
    sayAll(libraryClient, &TlsClient::loginAsOrvane);

    struct Costs {
        QString what;
        int commands;
        int atATime;
        double atMost;
        std::vector<double> measured {};
        std::vector<double> limit {};
    };
    std::array all {Costs {u"showLive over TLS, 25 at a time"_s, 2000, pipelined, 2},
        Costs {u"showLive over TLS, one at a time"_s, 400, 1, 1.4}};
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        for (Costs& costs : all) {
            costs.measured.push_back(
                commandCost(library, *libraryClient.front(), showLive, costs.commands, costs.atATime));
            costs.limit.push_back(commandCost(fixed, *fixedClient.front(), showLive, costs.commands, costs.atATime));
        }
    }
    for (const Costs& costs : all)
        table.add({costs.what, median(costs.measured), u"a server with fixed replies"_s, median(costs.limit), u"us"_s,
            costs.atMost});
}

struct Crowd {
    Clients clients;
    double memory; ///< of the server for each, in KiB
};

/// The first clients are not counted: they include what the process needs once. They disconnect again.
Crowd gatherClients(const ServerProcess& server, bool login)
{
    constexpr int first = 20;
    const auto connect = [&](int count) {
        Clients clients = connectAll(server, count);
        if (login)
            sayAll(clients, &TlsClient::loginAsOrvane);
        server.waitUntilIdle();
        return clients;
    };
    const Clients uncounted = connect(first);
    const qint64 before = server.residentBytes();
    Clients counted = connect(ClientCount);
    return {std::move(counted), static_cast<double>(server.residentBytes() - before) / 1024 / ClientCount};
}

void measureNotice(ServerProcess& server, const Clients& clients, ComparisonTable& table)
{
    constexpr int repetitions = 20;
    struct Costs {
        std::vector<double> call;
        std::vector<double> sent;
    };
    const auto measure = [&](const QByteArray& line, Costs& costs) {
        for (const auto& client : clients)
            client->received.clear();
        const QList<QByteArray> figures = server.ask(line).split(' ');
        require(figures.size() == 2, "the server did not answer");
        const auto isNotified = [](const TlsClient& client) { return client.received == refreshFinishedNotice(); };
        require(waitFor([&] { return allOf(clients, isNotified); }), "a notice did not come");
        costs.call.push_back(figures[0].toDouble() / 1000);
        costs.sent.push_back(figures[1].toDouble() / 1000);
    };

    Costs notice;
    Costs writes;
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        sayAll(clients, [](TlsClient& client) { client.send("<updateRecorderContents/>"); });
        server.waitUntilIdle();
        // They alternate, because the second one finds the sockets in the caches.
        const bool noticeFirst = repetition % 2 == 0;
        if (noticeFirst)
            measure("notice", notice);
        measure("writes", writes);
        if (!noticeFirst)
            measure("notice", notice);
    }
    const QString limitedBy = u"writing the same bytes to the same sockets"_s;
    table.add({u"notice to 1,000 waiting clients, only the call"_s, median(notice.call), limitedBy, median(writes.call),
        u"us"_s, 1.3});
    table.add({u"notice to 1,000 waiting clients, until sent"_s, median(notice.sent), limitedBy, median(writes.sent),
        u"us"_s, 1.3});
}

void measureClients(ComparisonTable& table)
{
    ServerProcess library;
    ServerProcess fixed(u"--serve-fixed-replies"_s);
    require(library.start() && fixed.start(), "a server did not start");
    const Crowd bare = gatherClients(fixed, false);
    const Crowd loggedIn = gatherClients(library, true);
    table.add({u"memory of each of 1,000 idle logged-in clients"_s, loggedIn.memory,
        u"a QSslSocket after its handshake"_s, bare.memory, u"KiB"_s, 1.1});
    measureNotice(library, loggedIn.clients, table);
}

void runCycles(const ServerProcess& server, int count)
{
    for (int done = 0; done < count; done += CyclesAtOnce) {
        const Clients clients = connectAll(server, CyclesAtOnce);
        sayAll(clients, [](TlsClient& client) {
            client.loginAsOrvane();
            client.disconnectFromHost(); // once the login has been sent
        });
        const auto hasLeft = [](const TlsClient& client) {
            return client.state() == QAbstractSocket::UnconnectedState;
        };
        require(waitFor([&] { return allOf(clients, hasLeft); }), "a client could not leave");
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
    require(server.openDescriptors() == descriptors, "clients have left descriptors behind");
    const double each = static_cast<double>(server.residentBytes() - memory) / CycleCount;
    table.add(
        {u"memory left by each of 10,000 past clients"_s, each, u"1 KiB, and no file descriptor"_s, 1024, u"B"_s, 1});
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Measures what a server costs its host, over TLS."_s);
    parser.addHelpOption();
    const QCommandLineOption serve(u"serve"_s, u"Only serve, with the library."_s, u"port"_s);
    const QCommandLineOption serveFixed(u"serve-fixed-replies"_s, u"Only serve, with fixed replies."_s, u"port"_s);
    parser.addOptions({serve, serveFixed});
    parser.process(application);
    if (parser.isSet(serve))
        return serveCommands(parser.value(serve).toUShort());
    if (parser.isSet(serveFixed))
        return serveFixedReplies(parser.value(serveFixed).toUShort());

    constexpr int others = 200;
    if (!allowOpenFiles(2 * ClientCount + others)) // the clients of two servers at once
        return 1;
    ComparisonTable table;
    measureCommands(table);
    measureClients(table);
    measureWhatClientsLeave(table);
    table.print();
}
