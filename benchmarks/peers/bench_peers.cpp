#include "ComparisonTable.h"
#include "Documents.h"
#include "JsonExchange.h"
#include "Measurement.h"
#include "PeerServers.h"
#include "ServedProcess.h"
#include "ServerProcess.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSslCipher>

#include <cstdio>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

using namespace Qt::StringLiterals;

// What a command and a client cost a server made with the library, compared with the servers that one would build
// instead and with the simplest possible server. Measured as in bench_over_tls; all servers take turns.

namespace {

constexpr int ClientCount = 300;
constexpr int Pipelined = 100; // more would hardly make a command cheaper

/// A kind of server, what its clients send, and what it costs.
struct Contender {
    QString name;
    QString option;
    int (*serve)(quint16 port);
    std::function<void(TlsClient&)> open; ///< what a client does before its first command
    Exchange showLive;
    std::optional<double> atMost; ///< limit for the library's pipelined processor time, in multiples of this server's

    std::vector<double> pipelined {}; ///< in microseconds, like the next one
    std::vector<double> oneAtATime {};
    std::vector<double> memory {}; ///< in KiB
};
using Contenders = std::vector<Contender>;

/// The library first.
Contenders allContenders()
{
    constexpr double ofPeer = 0.6;
    constexpr double ofFloor = 1.5;
    const Exchange asXml {showLiveDocument().toUtf8() + "\r\n\r\n", showLiveReply()};
    return {{u"the library"_s, u"serve"_s, serveCommands, &TlsClient::loginAsOrvane, asXml, {}},
        {u"QWebSocketServer and QJsonDocument"_s, u"serve-qt"_s, serveWithQtWebSockets, upgrade, showLiveAsJson(),
            ofPeer},
        {u"websocketpp and nlohmann/json"_s, u"serve-websocketpp"_s, serveWithWebSocketpp, upgrade, showLiveAsJson(),
            ofPeer},
        {u"a server with fixed replies"_s, u"serve-fixed-replies"_s, serveFixedReplies, [](TlsClient&) {}, asXml,
            ofFloor}};
}

/// A process with a server of that kind, and its connected clients.
struct Running {
    explicit Running(const Contender& contender)
        : contender(contender)
        , server("--"_L1 + contender.option)
    {
        require(server.start(), "a server did not start");
        addClients(1);
        cost(1, 1); // a wrong reply ends the program
    }

    void addClients(int count)
    {
        groups.push_back(connectAll(server, count));
        sayAll(groups.back(), contender.open);
        server.waitUntilIdle();
    }
    TlsClient& client() const { return *groups.front().front(); }
    double cost(int commands, int atATime) const
    {
        return commandCost(server, client(), contender.showLive, commands, atATime);
    }

    const Contender& contender;
    ServerProcess server;
    std::vector<Clients> groups;
};

void showProgress(const char* sign)
{
    static_cast<void>(std::fputs(sign, stderr));
}

void measureCommands(Contenders& contenders)
{
    constexpr int rounds = 40;
    const OneProcessor oneProcessor;
    std::deque<Running> all;
    for (const Contender& contender : contenders) {
        const TlsClient& client = all.emplace_back(contender).client();
        const TlsClient& first = all.front().client();
        require(client.sessionCipher() == first.sessionCipher() && client.sessionProtocol() == first.sessionProtocol(),
            "the servers differ in their TLS");
    }
    showProgress("commands ");
    for (int round = 0; round < rounds; ++round) {
        for (size_t index = 0; index < all.size(); ++index) {
            contenders[index].pipelined.push_back(all[index].cost(2000, Pipelined));
            contenders[index].oneAtATime.push_back(all[index].cost(400, 1));
        }
        showProgress(".");
    }
}

/// Every client sends \a atATime commands, then all wait for the replies. \return the cost of one, in microseconds
double crowdCost(const Running& running, int atATime)
{
    const Exchange& exchange = running.contender.showLive;
    const Clients& clients = running.groups.back();
    const QByteArray batch = exchange.command.repeated(atATime);
    const QByteArray expected = exchange.reply.repeated(atATime);
    for (const auto& client : clients)
        client->received.clear();
    const qint64 before = running.server.processorNs();
    sayAll(clients, [&](TlsClient& client) { client.write(batch); });
    require(waitFor([&] { return allOf(clients, [&](const auto& client) { return client.received == expected; }); }),
        "a reply did not come, or was wrong");
    const qint64 taken = running.server.processorNs() - before;
    return static_cast<double>(taken) / 1000 / atATime / static_cast<double>(clients.size());
}

/// Prints the cost of a command by the number of clients: a line per number, a column per contender.
void printCurve(const Contenders& contenders)
{
    constexpr int rounds = 11;
    for (const int count : {1, 3, 10, 30, 100, 300}) {
        const OneProcessor oneProcessor;
        std::printf("%d", count);
        for (const Contender& contender : contenders) {
            Running running(contender);
            running.addClients(count);
            std::vector<double> costs;
            costs.reserve(rounds);
            for (int round = 0; round < rounds; ++round)
                costs.push_back(crowdCost(running, Pipelined));
            std::printf(" %.2f", median(costs));
            showProgress(".");
        }
        std::printf("\n");
    }
    showProgress("\n");
}

/// The first clients are not counted: they include what the process needs once.
void measureClients(Contenders& contenders)
{
    constexpr int rounds = 3;
    constexpr int uncounted = 20;
    showProgress("\nclients ");
    for (int round = 0; round < rounds; ++round) {
        for (Contender& contender : contenders) {
            Running running(contender);
            running.addClients(uncounted);
            const qint64 before = running.server.residentBytes();
            running.addClients(ClientCount);
            const qint64 taken = running.server.residentBytes() - before;
            contender.memory.push_back(static_cast<double>(taken) / 1024 / ClientCount);
            showProgress(".");
        }
    }
    showProgress("\n");
}

void printTable(const Contenders& contenders)
{
    ComparisonTable table;
    const auto addRows = [&](const QString& what, const QString& unit, std::vector<double> Contender::*figures) {
        const double measured = median(contenders.front().*figures);
        for (auto other = contenders.begin() + 1; other != contenders.end(); ++other) {
            const auto atMost = figures == &Contender::pipelined ? other->atMost : std::nullopt;
            table.add({what, measured, other->name, median((*other).*figures), unit, atMost});
        }
    };
    addRows(u"showLive over TLS, %1 at a time"_s.arg(Pipelined), u"us"_s, &Contender::pipelined);
    addRows(u"showLive over TLS, one at a time"_s, u"us"_s, &Contender::oneAtATime);
    addRows(u"memory of each of %1 idle clients"_s.arg(ClientCount), u"KiB"_s, &Contender::memory);
    ComparisonTable::printHeading();
    table.print();
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    Contenders contenders = allContenders();
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Compares what a command costs a server with what it costs others."_s);
    parser.addHelpOption();
    const QCommandLineOption curve(u"curve"_s, u"Only measure a command by the number of clients."_s);
    parser.addOption(curve);
    for (const Contender& contender : contenders)
        parser.addOption({contender.option, "Only serve: "_L1 + contender.name, u"port"_s});
    parser.process(application);
    for (const Contender& contender : contenders) {
        if (parser.isSet(contender.option))
            return contender.serve(parser.value(contender.option).toUShort());
    }
    if (!allowOpenFiles(2 * ClientCount))
        return 1;
    if (parser.isSet(curve)) {
        printCurve(contenders);
        return 0;
    }
    measureCommands(contenders);
    measureClients(contenders);
    printTable(contenders);
}
