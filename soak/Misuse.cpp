#include "Misuse.h"

#include <openssl/ssl.h>
#include <thread>

using namespace std::chrono_literals;

namespace {

constexpr auto shakeHands = [](Stranger& it) { return it.shakeHands(); };
constexpr auto leave = [](Stranger&) { return false; };

template <auto Begin> constexpr auto endTls = [](Stranger& it) { return Begin(it) && it.sendCloseNotify(); };
const QByteArray BadRecord = "\x17\x03\x03\1\1" + QByteArray(257, 'x');
template <auto Begin> constexpr auto breakTls = [](Stranger& it) { return Begin(it) && it.sendRaw(BadRecord); };
template <int Kind> constexpr auto updateKeys = [](Stranger& it) { return it.sendKeyUpdate(Kind); };

/// Bytes that TLS never reads: for it, the connection has ended.
constexpr auto sendAnything = [](Stranger& it) { return it.sendRaw(QByteArray(MiB, 'x')); };

constexpr auto sendCommands = [](Stranger& it) { return it.send(QByteArray("<a/>\r\n\r\n").repeated(MiB / 8)); };

constexpr auto sendBurst = [](Stranger& it) {
    constexpr int commands = 20'000;
    static const QByteArray answers = rejection("a", "Unknown command").repeated(commands);
    return it.send(QByteArray("<a/>\r\n\r\n").repeated(commands)) && it.receive(answers);
};

/// Each is short enough to be sent before a login. Expanded, it would have 400,000 characters, so it is refused.
constexpr auto sendEntities = [](Stranger& it) {
    static const QByteArray document = "<!DOCTYPE a [<!ENTITY q '" + QByteArray(460, '"') + "'>]><a><paramvalue>"
        + QByteArray("&q;").repeated(145) + "</paramvalue></a>\r\n\r\n";
    return it.send(document.repeated(200));
};

/// For some seconds, one client connects, does \a Begin, then repeats \a More; after a failure it reconnects. A byte
/// limit ends it early: the machine may not have the memory for more. In a short run, a server with sanitizers would
/// take too long for more.
template <auto Begin, auto More> void flood(Crowd& crowd)
{
    crowd.deadline.setRemainingTime(crowd.share(5000));
    const qint64 most = 1024 * MiB / crowd.scale / crowd.scale;
    const auto isOver = [&] { return crowd.deadline.hasExpired() || crowd.bytes > most; };
    while (!isOver()) {
        crowd.strangers.clear();
        Stranger& stranger = crowd.come();
        for (bool isServed = Begin(stranger); isServed && !isOver();)
            isServed = More(stranger);
    }
}

void beginHandshakesAtOnce(Crowd& crowd)
{
    for (int round = 0; round < crowd.share(10); ++round) {
        crowd.strangers.clear();
        crowd.come(200);
        std::this_thread::sleep_for(200ms); // time for the server to accept them all
        for (const auto& stranger : crowd.strangers)
            stranger->beginHandshake();
        for (const auto& stranger : crowd.strangers)
            stranger->shakeHands();
    }
}

/// 20 clients each send \a message \a times times, and never read.
template <auto Begin> void sendBlindly(Crowd& crowd, const QByteArray& message, int times)
{
    for (int client = 0; client < crowd.share(20); ++client) {
        Stranger& stranger = crowd.come();
        int left = Begin(stranger) ? times : 0;
        while (left > 0 && stranger.send(message))
            --left;
    }
}

void askAndNeverRead(Crowd& crowd)
{
    const QByteArray tag(102'400, 'x');
    sendBlindly<logIn>(crowd, "<showLive><commandtag>" + tag + "</commandtag></showLive>\r\n\r\n", 200);
}

void tryPasswords(Crowd& crowd)
{
    crowd.come(10);
    for (const auto& stranger : crowd.strangers)
        stranger->shakeHands();
    for (int round = 0; round < crowd.share(50); ++round) {
        for (const auto& stranger : crowd.strangers)
            stranger->send(loginMessage("operator", QByteArray::number(round)));
        std::this_thread::sleep_for(100ms);
    }
}

constexpr int Room = 64;
constexpr auto Audit = "default.debug=false;orvane.audit.info=true";

} // namespace

const std::vector<Misuse> Misuses {
    Misuse {"20 clients never read their replies of 100 KiB", &askAndNeverRead, 2 * Room},
    Misuse {"20 clients send 8 MiB of an unfinished message",
        [](Crowd& it) { sendBlindly<shakeHands>(it, QByteArray(8 * MiB, ' '), 1); }},
    Misuse {"3,000 connections without a handshake", [](Crowd& it) { it.come(it.share(3000)); }, Room, true},
    Misuse {"100 invalid logins a second", &tryPasswords, Room, true},
    Misuse {"close_notify, then arbitrary bytes", &flood<endTls<shakeHands>, sendAnything>},
    Misuse {"a bad TLS record, then arbitrary bytes", &flood<breakTls<shakeHands>, sendAnything>},
    Misuse {"a login, close_notify, then arbitrary bytes", &flood<endTls<logIn>, sendAnything>},
    Misuse {"a login, a bad TLS record, then arbitrary bytes", &flood<breakTls<logIn>, sendAnything>},
    Misuse {"documents of 956 characters with an entity", &flood<shakeHands, sendEntities>},
    Misuse {"commands before a login", &flood<shakeHands, sendCommands>, Room, false, "default.debug=false"},
    Misuse {"commands before a login, with the audit trail", &flood<shakeHands, sendCommands>, Room, false, Audit},
    Misuse {"commands before a login, with debug lines", &flood<shakeHands, sendCommands>},
    Misuse {"KeyUpdate", &flood<shakeHands, updateKeys<SSL_KEY_UPDATE_NOT_REQUESTED>>},
    Misuse {"KeyUpdate that requests one in return", &flood<shakeHands, updateKeys<SSL_KEY_UPDATE_REQUESTED>>},
    Misuse {"connections and resets", &flood<leave, leave>, Room, true},
    Misuse {"connections and resets, with 4,096 descriptors", &flood<leave, leave>, Room, true, "", 4096},
    Misuse {"up to 20,000 silent connections", [](Crowd& it) { it.come(it.share(19'900)); }, Room, true},
    Misuse {"200 handshakes started at once", &beginHandshakesAtOnce, Room, true},
    Misuse {"20,000 unknown commands at once, after a login", &flood<logIn, sendBurst>},
    Misuse {"unknown commands after a login, replies never read", &flood<logIn, sendCommands>},
};
