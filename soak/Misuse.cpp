#include "Misuse.h"

#include "TlsClient.h"

#include <QElapsedTimer>

#include <algorithm>
#include <array>
#include <atomic>
#include <sys/resource.h>
#include <thread>

namespace soak {

namespace {

using namespace std::chrono_literals;

constexpr int PatienceMs = 60000;
constexpr int KiB = 1024;
constexpr int MiB = 1024 * KiB;
constexpr double NsInMs = 1e6;

bool shakeHands(Stranger& stranger)
{
    return stranger.finishHandshake();
}

bool logIn(Stranger& stranger)
{
    if (!stranger.finishHandshake())
        return false;
    stranger.encryptLogin();
    return stranger.sendReady();
}

/// Bytes that TLS never looks at, for the connection has ended for it.
bool sendAnything(Stranger& stranger)
{
    static const QByteArray anything(MiB, 'x');
    return stranger.sendRaw(anything);
}

bool endTls(Stranger& stranger)
{
    stranger.makeCloseNotify();
    return stranger.sendReady();
}

bool breakTls(Stranger& stranger)
{
    static const QByteArray record = QByteArray::fromHex("1703030040") + QByteArray(64, 'x');
    return stranger.sendRaw(record);
}

/// \a message again and again, about \a size bytes.
bool sendMany(Stranger& stranger, const QByteArray& message, int size)
{
    stranger.encrypt(message.repeated(size / message.size()));
    return stranger.sendReady();
}

bool sendUnknownCommands(Stranger& stranger)
{
    return sendMany(stranger, "<a/>\r\n\r\n", MiB);
}

/// Does one step after the other until one fails.
template <bool (*... Steps)(Stranger&)> bool inTurn(Stranger& stranger)
{
    return (Steps(stranger) && ...);
}

template <auto Begin, auto More> void flood(Crowd& crowd)
{
    crowd.flood(Begin, More);
}

/// Each is allowed before a login, and stands for 400,000 characters.
void floodWithEntities(Crowd& crowd)
{
    const QByteArray document = "<!DOCTYPE a [<!ENTITY q '" + QByteArray(460, '"') + "'>]><a><paramvalue>"
        + QByteArray("&q;").repeated(145) + "</paramvalue></a>\r\n\r\n";
    crowd.flood(&shakeHands, [&](Stranger& stranger) { return sendMany(stranger, document, crowd.share(4 * MiB)); });
}

template <bool RequestsAnother> bool updateKeys(Stranger& stranger)
{
    constexpr int atOnce = 1000;
    for (int update = 0; update < atOnce; ++update)
        stranger.makeKeyUpdate(RequestsAnother);
    return stranger.sendReady();
}

bool leave(Stranger& /*stranger*/)
{
    return false;
}

void comeAndStay(Crowd& crowd, int count)
{
    for (int stranger = 0; stranger < crowd.share(count); ++stranger)
        crowd.come();
}

void comeUntilDescriptorsEnd(Crowd& crowd)
{
    constexpr int reserve = 64; // for the witness and the looks into the server's process
    constexpr rlim_t most = 20'000; // 80 KiB each
    rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    comeAndStay(crowd, static_cast<int>(std::min(limit.rlim_cur, most)) - reserve);
}

void beginHandshakesAtOnce(Crowd& crowd)
{
    constexpr int atOnce = 200;
    for (int round = 0; round < crowd.share(10); ++round) {
        std::vector<Stranger*> ready;
        while (ready.size() < atOnce) {
            ready.push_back(&crowd.come());
            ready.back()->beginHandshake();
        }
        std::this_thread::sleep_for(200ms); // the server has accepted them all
        for (Stranger* stranger : ready)
            stranger->sendReady();
        for (const Stranger* stranger : ready)
            stranger->waitForAnything();
        crowd.sendAway();
    }
}

void sendBursts(Crowd& crowd)
{
    crowd.flood(&logIn, [](Stranger& stranger) {
        constexpr int commands = 20'000;
        static const qsizetype answers = commands * rejection("a", "Unknown command").size();
        stranger.encrypt(QByteArray("<a/>\r\n\r\n").repeated(commands));
        return stranger.sendReady() && stranger.read(answers).size() == answers;
    });
}

void askAndNeverRead(Crowd& crowd)
{
    constexpr int commands = 200;
    const QByteArray command =
        "<showLive><commandtag>" + QByteArray(qsizetype {100} * KiB, 'x') + "</commandtag></showLive>\r\n\r\n";
    for (int client = 0; client < crowd.share(20); ++client) {
        Stranger& stranger = crowd.come();
        bool isServed = logIn(stranger);
        for (int sent = 0; isServed && sent < commands; ++sent)
            isServed = sendMany(stranger, command, static_cast<int>(command.size()));
    }
}

void sendWithoutEnd(Crowd& crowd)
{
    for (int client = 0; client < crowd.share(20); ++client) {
        Stranger& stranger = crowd.come();
        if (shakeHands(stranger))
            sendMany(stranger, " ", 8 * MiB);
    }
}

void tryPasswords(Crowd& crowd)
{
    std::array<Stranger*, 10> strangers {};
    for (Stranger*& stranger : strangers) {
        stranger = &crowd.come();
        stranger->finishHandshake();
    }
    for (int round = 0; round < crowd.share(50); ++round) {
        for (Stranger* stranger : strangers) {
            stranger->encryptLogin("operator", QByteArray::number(round));
            stranger->sendReady();
        }
        std::this_thread::sleep_for(100ms);
    }
}

/// What one client sees that asks all the time, until the misuse is over or an answer wrong.
struct Observation {
    void observe(quint16 port);

    std::atomic<bool> hasBegun = false;
    std::atomic<bool> hasActed = false; ///< the strangers; the server may have much of it before it
    std::atomic<bool> isOver = false;
    std::vector<double> waitsMs; ///< while they acted
    double longestMs = 0; ///< then and afterwards
    bool isRight = true;
};

void Observation::observe(quint16 port)
{
    const QByteArray expected = shortAcceptance("setPreset");
    Tally tally;
    Stranger client(port, QDeadlineTimer(qint64 {4} * PatienceMs), tally);
    logIn(client);
    while (!isOver && isRight) {
        const bool isMeanwhile = !hasActed;
        QElapsedTimer timer;
        timer.start();
        client.encrypt("<setPreset/>\r\n\r\n");
        client.sendReady();
        isRight = client.read(expected.size()) == expected;
        const double waitMs = static_cast<double>(timer.nsecsElapsed()) / NsInMs;
        longestMs = std::max(longestMs, waitMs);
        if (isMeanwhile)
            waitsMs.push_back(waitMs);
        hasBegun = true;
        std::this_thread::sleep_for(5ms);
    }
}

/// Until \a hasActed, and the server has come to the end of that, which leaves it with the witness.
qint64 peakMemory(const ServerProcess& server, const std::atomic<bool>& hasActed)
{
    constexpr int windowMs = 500;
    constexpr int mostWindowsAfterwards = 20;
    constexpr double fullLoad = 0.35; // also of a server that shares its processor; 3,000 connections alone take 0.3
    qint64 peak = 0;
    double load = 1;
    for (int windows = 0; windows < mostWindowsAfterwards && load > fullLoad; windows += hasActed ? 1 : 0) {
        const bool mayBeLast = hasActed;
        const qint64 before = server.processorNs();
        for (const QDeadlineTimer window(windowMs); !window.hasExpired(); std::this_thread::sleep_for(5ms))
            peak = std::max(peak, server.residentBytes());
        if (mayBeLast)
            load = static_cast<double>(server.processorNs() - before) / NsInMs / windowMs;
    }
    return peak;
}

} // namespace

Crowd::Crowd(quint16 port, int scale)
    : port(port)
    , scale(scale)
    , deadline(PatienceMs)
{
}

Stranger& Crowd::come()
{
    return *strangers.emplace_back(std::make_unique<Stranger>(port, deadline, tally));
}

void Crowd::flood(
    const std::function<bool(Stranger& stranger)>& begin, const std::function<bool(Stranger& stranger)>& more)
{
    deadline.setRemainingTime(share(5000));
    while (!isOver()) {
        sendAway();
        Stranger& stranger = come();
        if (begin(stranger)) {
            while (!isOver() && more(stranger)) { }
        }
    }
}

/// Also when they have sent so much that the machine may not have the memory for more, or that a server with
/// sanitizers, which a short run is for, would take too long for it.
bool Crowd::isOver() const
{
    constexpr qint64 most = 1024 * qint64 {MiB};
    return deadline.hasExpired() || tally.bytes > most / scale / scale;
}

std::span<const Misuse> misuses()
{
    constexpr qint64 room = 64 * Misuse::MiB;
    constexpr auto quiet = "default.debug=false";
    constexpr auto audit = "default.debug=false;orvane.audit.info=true";
    constexpr auto floodWithCommands = &flood<&shakeHands, &sendUnknownCommands>;
    constexpr auto floodWithConnections = &flood<&leave, &leave>;
    static const std::array table {
        Misuse {"20 clients never read their replies of 100 KiB", &askAndNeverRead, 2 * room},
        Misuse {"20 clients send 8 MiB without an end", &sendWithoutEnd},
        Misuse {"3,000 connections without a handshake", [](Crowd& it) { comeAndStay(it, 3000); }, room, true},
        Misuse {"100 invalid logins a second", &tryPasswords, room, true},
        Misuse {"close_notify, then any bytes", &flood<&inTurn<shakeHands, endTls>, &sendAnything>},
        Misuse {"a bad TLS record, then any bytes", &flood<&inTurn<shakeHands, breakTls>, &sendAnything>},
        Misuse {"a login, close_notify, then any bytes", &flood<&inTurn<logIn, endTls>, &sendAnything>},
        Misuse {"a login, a bad TLS record, then any bytes", &flood<&inTurn<logIn, breakTls>, &sendAnything>},
        Misuse {"documents of 956 characters with an entity", &floodWithEntities},
        Misuse {"commands before a login", floodWithCommands, room, false, quiet},
        Misuse {"commands before a login, with the audit trail", floodWithCommands, room, false, audit},
        Misuse {"commands before a login, with debug lines", floodWithCommands},
        Misuse {"KeyUpdate", &flood<&shakeHands, &updateKeys<false>>},
        Misuse {"KeyUpdate that requests another", &flood<&shakeHands, &updateKeys<true>>},
        Misuse {"connections and resets", floodWithConnections, room, true},
        Misuse {"connections and resets, with 4,096 descriptors", floodWithConnections, room, true, "", 4096},
        Misuse {"silent connections up to 20,000", &comeUntilDescriptorsEnd, room, true},
        Misuse {"200 handshakes begun at once", &beginHandshakesAtOnce, room, true},
        Misuse {"20,000 unknown commands at once, logged in", &sendBursts},
        Misuse {"unknown commands, logged in, and never reads", &flood<&logIn, &sendUnknownCommands>},
    };
    return table;
}

WitnessReport witness(const ServerProcess& server, const Misuse& misuse, int scale)
{
    Observation seen;
    std::thread observer([&] { seen.observe(server.port()); });
    while (!seen.hasBegun)
        std::this_thread::sleep_for(1ms);

    WitnessReport report;
    const qint64 memory = server.residentBytes();
    const qint64 processor = server.processorNs();
    Crowd crowd(server.port(), scale);
    std::thread actor([&] {
        QElapsedTimer timer;
        timer.start();
        misuse.act(crowd);
        report.seconds = static_cast<double>(timer.elapsed()) / 1000;
        seen.hasActed = true;
    });
    report.growth = peakMemory(server, seen.hasActed) - memory;
    actor.join();
    seen.isOver = true;
    observer.join();
    report.processorNs = server.processorNs() - processor;
    report.tally = crowd.tally;
    std::sort(seen.waitsMs.begin(), seen.waitsMs.end());
    report.isRight = seen.isRight;
    report.medianMs = seen.waitsMs.at(seen.waitsMs.size() / 2);
    report.longestMs = seen.longestMs;
    return report;
}

} // namespace soak
