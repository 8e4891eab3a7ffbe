#include "Peer.h"

#include "Certificates.h"
#include "Log.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace world {

namespace {

constexpr int64_t PatienceMs = 45'000; // for what must come, also behind a crowd
constexpr int64_t SurplusPatienceMs = 700; // for a host that takes no more
constexpr int64_t NotifyPatienceMs = 3'000;
constexpr int64_t ConnectPatienceMs = 3'000; // for a host that does not listen now
constexpr size_t SurplusChunk = 65'536;
constexpr int FirstPort = 10'000; // below those that the system gives
constexpr size_t OneRead = 4'000; // TLS hands on somewhat more at once
constexpr size_t LongestPiece = 600;

bool startsWith(const std::string& text, const char* start)
{
    return text.rfind(start, 0) == 0;
}

} // namespace

Peer::Peer(const std::string& act, int descriptor, uint16_t port)
    : certificate(valueOf(act, "cert"))
    , fd(descriptor)
    , port(port)
    , tls(SSL_new(clientContext(valueOf(act, "tls"), certificate)))
    , incoming(BIO_new(BIO_s_mem()))
    , outgoing(BIO_new(BIO_s_mem()))
    , random(static_cast<unsigned>(std::stoi(split(act, " ").at(1)))) // the same for the same act
{
    const std::vector<std::string> words = split(act, " ");
    id = std::stoi(words.at(1));
    slot = std::stoi(valueOf(act, "slot"));
    startAt = nowMs() + std::stoi(valueOf(act, "at"));
    steps.assign(words.begin() + 6, words.end());
    SSL_set_bio(tls, incoming, outgoing);
    SSL_set_connect_state(tls);
}

Peer::~Peer()
{
    SSL_free(tls);
    if (fd >= 0)
        close(fd);
}

short Peer::events() const
{
    if (connectedAt == 0 && !connecting)
        return 0;
    const bool reads = !connecting && !muted && !ended;
    const bool writes = connecting || !outbox.empty() || surplus > 0;
    return static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0));
}

void Peer::connectNow(int64_t now)
{
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in own {};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1U + static_cast<unsigned>(slot));
    // A port that no other client of this world has, however short its connection. At a second try it has one.
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    own.sin_port = htons(static_cast<uint16_t>(FirstPort + id));
    if (bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 && errno == EADDRINUSE) {
        own.sin_port = 0;
        static_cast<void>(bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof own));
    }
    sockaddr_in host = own;
    host.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    host.sin_port = htons(port);
    const int result = connect(fd, reinterpret_cast<const sockaddr*>(&host), sizeof host);
    if (result != 0 && errno != EINPROGRESS && errno != EALREADY) {
        if (now - startAt > ConnectPatienceMs)
            finish();
        return;
    }
    connecting = true;
    stepSince = now;
    socklen_t size = sizeof own;
    getsockname(fd, reinterpret_cast<sockaddr*>(&own), &size);
    address = "127.0.0." + std::to_string(2 + slot) + ":" + std::to_string(ntohs(own.sin_port));
}

void Peer::finish()
{
    doneAt = nowMs(); // later than that of the turn
    note("peer", "c" + std::to_string(id) + " " + address + (endedByHost ? " was ended by the host" : " is gone"));
    if (fd >= 0)
        close(fd);
    fd = -1;
}

void Peer::advance(int64_t now, short happened)
{
    if (doneAt != 0 || now < startAt)
        return;
    if (connectedAt == 0) {
        if (!connecting)
            return connectNow(now);
        if ((happened & (POLLOUT | POLLERR | POLLHUP)) == 0) {
            if (now - stepSince > PatienceMs)
                finish();
            return;
        }
        connecting = false;
        int error = 0;
        socklen_t size = sizeof error;
        getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
        if (error != 0)
            return now - startAt > ConnectPatienceMs ? finish() : void();
        connectedAt = now;
        stepSince = now;
        note("peer", "c" + std::to_string(id) + " " + address + " has connected");
    }
    if ((happened & (POLLIN | POLLERR | POLLHUP)) != 0)
        read();
    writeOut();
    while (doneAt == 0 && stepIsDone(now)) {
        ++step;
        phase = 0;
        stepSince = now;
        writeOut();
    }
}

void Peer::read()
{
    std::array<char, 16'384> buffer {};
    while (!muted && !ended) {
        const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            break;
        if (count <= 0)
            ended = true;
        else
            BIO_write(incoming, buffer.data(), static_cast<int>(count));
    }
    if (!greeted && !greet())
        return;
    ERR_clear_error();
    int count = 0;
    while ((count = SSL_read(tls, buffer.data(), buffer.size())) > 0)
        received.append(buffer.data(), static_cast<size_t>(count));
    const int error = SSL_get_error(tls, count);
    endedInTls = endedInTls || error == SSL_ERROR_ZERO_RETURN || error == SSL_ERROR_SSL;
    collect();
}

void Peer::collect()
{
    std::array<char, 16'384> buffer {};
    while (BIO_pending(outgoing) > 0) {
        const int count = BIO_read(outgoing, buffer.data(), buffer.size());
        outbox.append(buffer.data(), static_cast<size_t>(count));
    }
}

void Peer::writeOut()
{
    while (!outbox.empty() && !finSent && !held) {
        const size_t size = inPieces ? std::min(outbox.size(), 1 + random() % LongestPiece) : outbox.size();
        const ssize_t count = ::send(fd, outbox.data(), size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            ended = ended || (errno != EAGAIN && errno != EINTR);
            break;
        }
        outbox.erase(0, static_cast<size_t>(count));
        if (inPieces)
            break;
    }
    if (ended)
        outbox.clear();
}

void Peer::addJunk(size_t size)
{
    hasSpoilt = true;
    while (size-- > 0)
        outbox += static_cast<char>(random());
}

bool Peer::greet()
{
    if (step >= steps.size() || steps[step] != "hello")
        return false;
    ERR_clear_error();
    const int result = SSL_do_handshake(tls);
    collect();
    greeted = result == 1;
    endedInTls = endedInTls || (!greeted && SSL_get_error(tls, result) == SSL_ERROR_SSL);
    if (greeted)
        handshakeAt = nowMs();
    return greeted;
}

bool Peer::send(const std::string& how, const std::string& letters)
{
    std::string together;
    for (const char letter : letters) {
        const int number = static_cast<int>(messages.size());
        const bool admitted = !messages.empty() && (messages.back().admitted || isValidLogin(messages.back().letter));
        const bool system = !messages.empty() && (messages.back().hasSystemAccount || messages.back().letter == 'O');
        messages.push_back({letter, admitted, system, -1});
        if (admitted)
            due += predictedReply(letter, id, number, system).size();
        const std::string text = messageText(letter, id, number);
        if (how == "burst") {
            SSL_write(tls, text.data(), static_cast<int>(text.size()));
            collect();
            writeOut();
        } else {
            together += text;
        }
    }
    if (together.size() < OneRead && (how == "one" || how == "held"))
        for (size_t number = messages.size() - letters.size(); number < messages.size(); ++number)
            messages[number].record = static_cast<int>(step);
    inPieces = how == "pieces";
    held = how == "held";
    for (size_t begin = 0; begin < together.size();) {
        const size_t left = together.size() - begin;
        const size_t size = inPieces ? std::min(left, 1 + random() % LongestPiece) : left;
        SSL_write(tls, together.data() + begin, static_cast<int>(size));
        begin += size;
    }
    collect();
    return true;
}

bool Peer::hasAllReplies() const
{
    std::string others = received;
    takeUpdateReplies(others);
    return others.size() >= due;
}

bool Peer::stepIsDone(int64_t now)
{
    const bool isMuteEnd = step >= steps.size() || steps[step] == "reset" || steps[step] == "leave";
    if ((ended || (endedInTls && !hasSpoilt && !saidGoodbye && !isMuteEnd)) && !finSent) {
        endedByHost = !saidGoodbye;
        orderly = saidGoodbye && !hasSpoilt;
        finish();
        return false;
    }
    if (!outbox.empty() && !isMuteEnd && !held) {
        if (now - stepSince > PatienceMs && surplus == 0)
            finish();
        return false;
    }
    if (step >= steps.size())
        return endIsDone("reset", now);
    const std::string& text = steps[step];
    held = held && text.rfind("send:", 0) != 0
        && (text == "close" || text == "notify" || text == "fin" || text == "leave");
    const std::string rest = text.substr(std::min(text.size(), text.find(':') + 1));
    if (text == "hello") {
        outbox += heldBack;
        heldBack.clear();
        if (now - stepSince > PatienceMs)
            finish();
        return greeted || greet();
    }
    if (text == "half") {
        SSL_do_handshake(tls);
        collect();
        heldBack = outbox.substr(outbox.size() / 2);
        outbox.resize(outbox.size() / 2);
        return true;
    }
    if (startsWith(text, "send:"))
        return send(rest.substr(0, rest.find(':')), rest.substr(rest.find(':') + 1));
    if (startsWith(text, "sleep:"))
        return now - stepSince >= std::stoi(rest);
    if (startsWith(text, "junk:")) {
        addJunk(std::stoul(rest));
        return true;
    }
    if (text == "bad") {
        SSL_write(tls, "<bad/>", 6);
        collect();
        outbox[outbox.size() - 3] = static_cast<char>(outbox[outbox.size() - 3] ^ 1);
        hasSpoilt = true;
        return true;
    }
    if (text == "wait") {
        waitedInVain = now - stepSince > PatienceMs && !hasAllReplies();
        return waitedInVain || hasAllReplies();
    }
    if (text == "keyupdate") {
        if (SSL_version(tls) == TLS1_3_VERSION)
            SSL_key_update(tls, SSL_KEY_UPDATE_REQUESTED);
        return true;
    }
    if (text == "notified") {
        SSL_shutdown(tls);
        collect();
        hasSpoilt = true;
        return true;
    }
    if (text == "mute")
        return muted = true;
    if (startsWith(text, "surplus:")) {
        hasSpoilt = true;
        if (phase == 0)
            surplus = std::stoul(rest) << 20U;
        phase = 1;
        static const std::string junk(SurplusChunk, 'j');
        for (ssize_t count = 1; surplus > 0 && count > 0;) {
            count = ::send(fd, junk.data(), std::min(surplus, junk.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
            ended = ended || (count < 0 && errno != EAGAIN && errno != EINTR);
            surplus -= count > 0 ? static_cast<size_t>(count) : 0;
            stepSince = count > 0 ? now : stepSince;
        }
        if (now - stepSince > SurplusPatienceMs)
            surplus = 0;
        return surplus == 0;
    }
    return endIsDone(text, now);
}

bool Peer::endIsDone(const std::string& how, int64_t now)
{
    if (how == "reset" || how == "leave") {
        held = false;
        if (how == "leave" && greeted) {
            SSL_shutdown(tls);
            collect();
            writeOut();
        }
        const linger none {how == "reset" ? 1 : 0, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &none, sizeof none);
        finish();
        return false;
    }
    if (phase == 0) {
        if (how != "fin" && greeted) {
            SSL_shutdown(tls);
            collect();
        }
        held = false;
        writeOut();
        saidGoodbye = how != "fin" && greeted;
        phase = 1;
        if (!outbox.empty())
            return false;
    }
    if (phase == 1 && how == "notify" && !hasAllReplies() && now - stepSince < NotifyPatienceMs)
        return false;
    if (phase == 1) {
        shutdown(fd, SHUT_WR);
        finSent = true;
        orderly = !hasSpoilt;
        phase = 2;
    }
    if (ended || now - stepSince > PatienceMs) {
        waitedInVain = !ended;
        finish();
    }
    return false;
}

} // namespace world
