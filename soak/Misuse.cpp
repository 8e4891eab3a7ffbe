#include "Misuse.h"

#include <QElapsedTimer>

#include <algorithm>
#include <atomic>
#include <thread>

namespace soak {

namespace {

constexpr int PatienceMs = 60000;
constexpr qsizetype KiB = 1024;
constexpr qsizetype MiB = 1024 * KiB;

void askAndNeverRead(TlsClient& client, int /*round*/)
{
    constexpr int commands = 200;
    client.disconnect();
    client.setReadBufferSize(1000);
    client.loginAsOrvane();
    const QByteArray tag(100 * KiB, 'x');
    for (int command = 0; command < commands; ++command)
        client.send("<showLive><commandtag>" + tag + "</commandtag></showLive>");
}

Clients comeTo(const ServerProcess& server, const Misuse& misuse, int scale)
{
    const int count = std::max(1, misuse.clients / scale);
    if (misuse.withHandshake)
        return connectClients(server.port(), count);
    Clients clients;
    while (clients.size() < static_cast<size_t>(count)) {
        clients.push_back(std::make_unique<TlsClient>());
        clients.back()->connectToHost(QHostAddress(QHostAddress::LocalHost), server.port());
        clients.back()->waitForConnected(PatienceMs);
    }
    return clients;
}

/// Ends with the server's memory while all of it is there.
qint64 runMisuse(const ServerProcess& server, const Misuse& misuse, int scale)
{
    constexpr int roundMs = 100;
    constexpr int stayMs = 1500;
    const auto pause = [](int milliseconds) { waitFor([] { return false; }, milliseconds); };
    const Clients clients = comeTo(server, misuse, scale);
    for (int round = 0; round < std::max(1, misuse.rounds / scale); ++round) {
        for (const auto& client : clients)
            misuse.act(*client, round);
        pause(roundMs);
    }
    waitFor([&] {
        return std::all_of(clients.begin(), clients.end(),
            [](const auto& client) { return client->state() == QAbstractSocket::UnconnectedState || isSent(*client); });
    });
    pause(stayMs);
    return server.residentBytes();
}

/// How long each answer took, until \a isOver or a wrong one, for which the time is below 0.
void observe(
    quint16 port, std::vector<double>& latenciesMs, std::atomic<bool>& hasBegun, const std::atomic<bool>& isOver)
{
    constexpr double nsInMs = 1e6;
    constexpr std::chrono::milliseconds pause(5);
    const QByteArray expected = shortAcceptance("setPreset");
    TlsClient client;
    client.connectToPort(port);
    client.waitForEncrypted(PatienceMs);
    client.loginAsOrvane();
    do {
        QElapsedTimer timer;
        timer.start();
        client.received.clear();
        client.send("<setPreset/>");
        while (client.received.size() < expected.size() && client.waitForReadyRead(PatienceMs)) { }
        const bool isRight = client.received == expected;
        latenciesMs.push_back(isRight ? static_cast<double>(timer.nsecsElapsed()) / nsInMs : -1);
        hasBegun = true;
        std::this_thread::sleep_for(pause);
    } while (!isOver && latenciesMs.back() >= 0);
}

} // namespace

const std::array<Misuse, 4> Misuses {{
    {"20 clients that never read their replies", 20, true, 1, &askAndNeverRead, 128 * MiB},
    {"20 clients that send 8 MiB without an end", 20, true, 1,
        [](TlsClient& client, int) { client.write(QByteArray(8 * MiB, ' ')); }, 16 * MiB},
    {"3,000 connections without a handshake", 3000, false, 1, [](TlsClient&, int) {}, 16 * MiB},
    {"100 logins a second that are not valid", 10, true, 50,
        [](TlsClient& client, int round) { client.login("operator", QByteArray::number(round)); }, 16 * MiB},
}};

WitnessReport witness(const ServerProcess& server, const Misuse& misuse, int scale)
{
    std::vector<double> latenciesMs;
    std::atomic<bool> hasBegun = false;
    std::atomic<bool> isOver = false;
    std::thread observer([&] { observe(server.port(), latenciesMs, hasBegun, isOver); });
    waitFor([&] { return hasBegun.load(); });
    const qint64 memory = server.residentBytes();
    const qint64 growth = runMisuse(server, misuse, scale) - memory;
    isOver = true;
    observer.join();
    std::sort(latenciesMs.begin(), latenciesMs.end());
    return {latenciesMs.front() < 0 ? 1 : 0, latenciesMs.at(latenciesMs.size() / 2), latenciesMs.back(), growth};
}

} // namespace soak
