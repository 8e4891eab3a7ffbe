#include "Misuse.h"

#include "Clients.h"
#include "ServerProcess.h"

#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <memory>

using namespace Qt::StringLiterals;

namespace soak {

namespace {

constexpr int StayMs = 1500;
constexpr qsizetype KiB = 1024;
constexpr qsizetype MiB = 1024 * KiB;

qint64 stay(const ServerProcess& server)
{
    QElapsedTimer timer;
    timer.start();
    waitFor([&] { return timer.elapsed() > StayMs; });
    return server.residentBytes();
}

bool isGone(const QAbstractSocket& client)
{
    return client.state() == QAbstractSocket::UnconnectedState;
}

/// Until all that was written is sent, and a little longer.
qint64 sendAndStay(const ServerProcess& server, const Clients& clients)
{
    waitFor([&] {
        return std::all_of(
            clients.begin(), clients.end(), [](const auto& client) { return isGone(*client) || isSent(*client); });
    });
    return stay(server);
}

/// Each asks for 200 replies of 100 KiB and reads none.
qint64 neverRead(const ServerProcess& server, int scale)
{
    constexpr int commands = 200;
    const QByteArray document = "<showLive><commandtag>" + QByteArray(100 * KiB, 'x') + "</commandtag></showLive>";
    const Clients clients = connectClients(server.port(), std::max(1, 20 / scale));
    for (const auto& client : clients) {
        client->disconnect();
        client->setReadBufferSize(1000);
        client->loginAsOrvane();
        for (int command = 0; command < commands; ++command)
            client->send(document);
    }
    return sendAndStay(server, clients);
}

/// Each sends 8 MiB of one message, before any login.
qint64 neverEnd(const ServerProcess& server, int scale)
{
    const Clients clients = connectClients(server.port(), std::max(1, 20 / scale));
    for (const auto& client : clients)
        client->write(QByteArray(8 * MiB, ' '));
    return sendAndStay(server, clients);
}

qint64 neverMakeTheHandshake(const ServerProcess& server, int scale)
{
    constexpr int patienceMs = 60000;
    std::vector<std::unique_ptr<QTcpSocket>> sockets;
    for (int number = 0; number < 3000 / scale; ++number) {
        sockets.push_back(std::make_unique<QTcpSocket>());
        sockets.back()->connectToHost(QHostAddress(QHostAddress::LocalHost), server.port());
        sockets.back()->waitForConnected(patienceMs);
    }
    return stay(server);
}

/// A hundred a second, on ten connections.
qint64 guessPasswords(const ServerProcess& server, int scale)
{
    constexpr int rounds = 50;
    constexpr unsigned long roundMs = 100;
    const Clients clients = connectClients(server.port(), 10);
    for (int round = 0; round < rounds / scale; ++round) {
        for (const auto& client : clients)
            client->login("operator", QByteArray::number(round));
        QThread::msleep(roundMs);
    }
    return sendAndStay(server, clients);
}

/// Sends one command after the other, and waits for each reply.
class Witness : public QThread {
public:
    explicit Witness(quint16 port)
        : port(port)
    {
    }

    WitnessReport finish()
    {
        done = true;
        wait();
        std::sort(latenciesMs.begin(), latenciesMs.end());
        if (!latenciesMs.empty()) {
            report.medianMs = latenciesMs.at(latenciesMs.size() / 2);
            report.slowestMs = latenciesMs.back();
        }
        return report;
    }
    std::atomic<bool> isReady = false;

protected:
    void run() override
    {
        constexpr int patienceMs = 60000;
        constexpr unsigned long pauseMs = 5;
        constexpr double nsInMs = 1e6;
        TlsClient client;
        client.connectToPort(port);
        client.waitForEncrypted(patienceMs);
        client.loginAsOrvane();
        const QByteArray expected = shortAcceptance("setPreset");
        while (!done) {
            QElapsedTimer timer;
            timer.start();
            client.received.clear();
            client.send("<setPreset/>");
            while (client.received.size() < expected.size() && client.waitForReadyRead(patienceMs)) { }
            if (client.received != expected) {
                ++report.wrongAnswers;
                isReady = true;
                return;
            }
            latenciesMs.push_back(static_cast<double>(timer.nsecsElapsed()) / nsInMs);
            isReady = true;
            msleep(pauseMs);
        }
    }

private:
    quint16 port;
    std::atomic<bool> done = false;
    std::vector<double> latenciesMs;
    WitnessReport report;
};

} // namespace

const std::vector<Misuse>& misuses()
{
    static const std::vector<Misuse> all {
        {u"20 clients that never read their replies"_s, &neverRead, 64 * MiB},
        {u"20 clients that send 8 MiB without an end"_s, &neverEnd, 16 * MiB},
        {u"3,000 connections without a handshake"_s, &neverMakeTheHandshake, 16 * MiB},
        {u"100 logins a second that are not valid"_s, &guessPasswords, 16 * MiB},
    };
    return all;
}

WitnessReport witness(const ServerProcess& server, const Misuse& misuse, int scale)
{
    Witness thread(server.port());
    thread.start();
    waitFor([&] { return thread.isReady.load(); });
    const qint64 memory = server.residentBytes();
    const qint64 growth = misuse.run(server, scale) - memory;
    WitnessReport report = thread.finish();
    report.growth = growth;
    return report;
}

} // namespace soak
