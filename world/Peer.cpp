#include "Peer.h"

#include "Log.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <map>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace world {

namespace {

constexpr int Patience = 600; // turns, of 20 ms or more, without progress
constexpr int64_t SurplusPatienceMs = 700; // for a host that takes no more
constexpr int64_t ConnectPatienceMs = 3'000; // for a host that is not listening
constexpr unsigned FirstPort = 10'000; // below those that the system assigns
constexpr unsigned ClientLastByte = 2; // of their addresses
constexpr unsigned StormLastByte = 3;
constexpr int StormTurn = 50; // connections before other clients have their turn
constexpr size_t OneRead = 4'000; // TLS delivers slightly more at once
constexpr size_t LongestPiece = 600;
constexpr int SmallBuffer = 4'096;
constexpr int64_t DoomPatienceMs = 20'000;

std::map<std::string, SSL_CTX*>& contexts()
{
    static auto& all = *new std::map<std::string, SSL_CTX*>; // never destroyed
    return all;
}

sockaddr_in addressOf(unsigned lastByte, unsigned port)
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1U + lastByte);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

/// A socket bound to its own address.
int makeSocket(unsigned lastByte, unsigned port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    for (const unsigned each : {port, 0U}) { // any port, if another process has this one
        const sockaddr_in own = addressOf(lastByte, each);
        if (bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0)
            break;
    }
    return fd;
}

bool connectTo(int fd, unsigned port)
{
    const sockaddr_in host = addressOf(1, port);
    return connect(fd, reinterpret_cast<const sockaddr*>(&host), sizeof host) == 0 || errno == EISCONN;
}

void closeWithReset(int fd)
{
    const linger none {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    ::close(fd);
}

} // namespace

void makeClientContexts()
{
    for (const std::string certificate : {"none", "good", "strange"}) {
        for (const auto& [version, protocol] : {std::pair {"12", TLS1_2_VERSION}, std::pair {"13", TLS1_3_VERSION}}) {
            SSL_CTX* context = contexts()[version + certificate] = SSL_CTX_new(TLS_client_method());
            SSL_CTX_set_min_proto_version(context, protocol);
            SSL_CTX_set_max_proto_version(context, protocol);
            SSL_CTX_set_options(context, SSL_OP_IGNORE_UNEXPECTED_EOF);
            if (certificate == "none")
                continue;
            const std::string pair = certificate == "good" ? GOOD_PAIR : STRANGE_PAIR;
            SSL_CTX_use_certificate_file(context, (pair + "cert.pem").c_str(), SSL_FILETYPE_PEM);
            SSL_CTX_use_PrivateKey_file(context, (pair + "key.pem").c_str(), SSL_FILETYPE_PEM);
        }
    }
}

void play(const std::vector<std::unique_ptr<Peer>>& peers, Shared& shared)
{
    constexpr int TurnMs = 2;
    std::vector<pollfd> polled;
    int rounds = 0;
    while (std::any_of(peers.begin(), peers.end(), [](const auto& each) { return each->doneAt == 0; })) {
        shared.clientsAreDone = std::all_of(
            peers.begin(), peers.end(), [](const auto& each) { return each->doneAt != 0 || each->isWitness(); });
        polled.clear();
        for (const auto& each : peers) // poll() ignores descriptors below 0
            polled.push_back({each->events() != 0 ? each->descriptor() : -1, each->events(), 0});
        poll(polled.data(), polled.size(), TurnMs);
        // However slow the machine is: in each counted turn, the host and the clients have had theirs.
        const int before = std::exchange(rounds, shared.rounds.load());
        shared.turns += rounds != before ? 1 : 0;
        const int64_t now = nowMs();
        for (size_t index = 0; index < peers.size(); ++index)
            peers[index]->advance(now, polled[index].revents);
    }
}

Peer::Peer(const std::string& act, Shared& shared)
    : id(std::stoi(split(act, ' ').at(1)))
    , certificate(valueOf(act, "cert"))
    , shared(shared)
    // A port that no other client of this world has, not even a short-lived one.
    , fd(makeSocket(ClientLastByte, FirstPort + static_cast<unsigned>(id)))
    , tls(SSL_new(contexts().at(valueOf(act, "tls") + certificate)))
    , incoming(BIO_new(BIO_s_mem()))
    , outgoing(BIO_new(BIO_s_mem()))
    , random(static_cast<unsigned>(id)) // the same for the same act
    , startAt(nowMs() + std::stoi(valueOf(act, "at")))
    , stepSince(startAt)
{
    if (id % 3 == 0 || act.find(" keys:") != std::string::npos) // so that replies wait in the host, not in the system
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &SmallBuffer, sizeof SmallBuffer);
    steps = split(act, ' ');
    steps.erase(steps.begin(), steps.begin() + 5);
    SSL_set_bio(tls, incoming, outgoing);
    SSL_set_connect_state(tls);
    sockaddr_in own {};
    socklen_t size = sizeof own;
    getsockname(fd, reinterpret_cast<sockaddr*>(&own), &size);
    address = "127.0.0." + std::to_string(ClientLastByte) + ":" + std::to_string(ntohs(own.sin_port));
}

Peer::~Peer()
{
    SSL_free(tls);
    if (fd >= 0)
        ::close(fd);
}

short Peer::events() const
{
    if (connectedAt == 0 || doneAt != 0)
        return 0;
    const bool writes = !outbox.empty() || surplus > 0;
    return static_cast<short>((muted || ended ? 0 : POLLIN) | (writes ? POLLOUT : 0));
}

bool Peer::finish()
{
    doneAt = nowMs(); // not `now`, which is earlier
    note("peer",
        "c" + std::to_string(id) + " " + address + (endedByHost ? " was disconnected by the host" : " has ended"));
    if (fd >= 0)
        ::close(fd);
    fd = -1;
    return false;
}

void Peer::advance(int64_t nowMs, short happened)
{
    now = nowMs;
    if (doneAt != 0 || now < startAt || (connectedAt == 0 && !connectAgain()))
        return;
    if ((happened & (POLLIN | POLLERR | POLLHUP)) != 0)
        read();
    writeOut();
    while (doneAt == 0 && advanceStep()) {
        ++step;
        stepSince = now;
        hasProgressed();
        writeOut();
    }
}

void Peer::hasProgressed()
{
    (isWitness() ? progress : shared.progress) = shared.turns; // a witness goes on while others wait
}

bool Peer::isStuck() const
{
    return shared.turns - std::max(progress, shared.progress) > Patience;
}

bool Peer::connectAgain()
{
    if (connectTo(fd, shared.port)) {
        connectedAt = triedAt != 0 ? triedAt : now; // perhaps right after the last attempt
        stepSince = now;
        hasProgressed();
        note("peer", "c" + std::to_string(id) + " " + address + " has connected");
        return true;
    }
    const bool waits = errno == EINPROGRESS || errno == EALREADY;
    triedAt = now;
    return (waits ? isStuck() : now - startAt > ConnectPatienceMs) && finish();
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
        hasProgressed();
    }
    if (!handshakeDone)
        return;
    ERR_clear_error();
    int count = 0;
    while ((count = SSL_read(tls, buffer.data(), buffer.size())) > 0)
        received.append(buffer.data(), static_cast<size_t>(count));
    const int error = SSL_get_error(tls, count);
    endedInTls = endedInTls || error == SSL_ERROR_ZERO_RETURN || error == SSL_ERROR_SSL;
    updateReplies += takeUpdateReplies(received);
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

/// \return how many bytes the system has taken
size_t Peer::put(const char* bytes, size_t size)
{
    const ssize_t count = ::send(fd, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    ended = ended || (count < 0 && errno != EAGAIN && errno != EINTR);
    if (count <= 0)
        return 0;
    hasProgressed();
    return static_cast<size_t>(count);
}

void Peer::writeOut()
{
    while (!outbox.empty() && !finSent && !held) {
        const size_t size = inPieces ? std::min(outbox.size(), 1 + random() % LongestPiece) : outbox.size();
        const size_t count = put(outbox.data(), size);
        outbox.erase(0, count);
        if (inPieces || count == 0)
            break;
    }
    if (ended)
        outbox.clear();
}

Peer::Step Peer::stepOf(const std::string& name)
{
    static const std::map<std::string, Step> All {{"hello", &Peer::hello}, {"junk", &Peer::junk}, {"send", &Peer::send},
        {"wait", &Peer::wait}, {"sleep", &Peer::sleep}, {"mute", &Peer::mute}, {"keys", &Peer::changeKeys},
        {"doomed", &Peer::doomed}, {"surplus", &Peer::sendSurplus}, {"witness", &Peer::witness},
        {"storm", &Peer::storm}, {"notified", &Peer::notified}, {"reset", &Peer::reset}, {"leave", &Peer::leave},
        {"close", &Peer::close}, {"notify", &Peer::notify}, {"fin", &Peer::fin}};
    return All.at(name);
}

bool Peer::advanceStep()
{
    const std::string text = step < steps.size() ? steps[step] : "reset";
    const std::string name = text.substr(0, text.find(':'));
    const bool ignoresHost = name == "reset" || name == "leave";
    if ((ended || (endedInTls && !sentNonTls && !sentCloseNotify && !ignoresHost)) && !finSent) {
        endedByHost = !sentCloseNotify;
        orderly = sentCloseNotify && !sentNonTls;
        return finish();
    }
    if (isStuck()) {
        gotStuck = outbox.empty() && !ended;
        return finish();
    }
    held = held && (ignoresHost || name == "close" || name == "notify" || name == "fin");
    if (!outbox.empty() && !ignoresHost && !held && name != "surplus")
        return false;
    argument = text.substr(std::min(text.size(), name.size() + 1));
    return (this->*stepOf(name))();
}

bool Peer::hello()
{
    ERR_clear_error();
    const int result = SSL_do_handshake(tls);
    collect();
    handshakeDone = result == 1;
    endedInTls = endedInTls || (!handshakeDone && SSL_get_error(tls, result) == SSL_ERROR_SSL);
    if (handshakeDone)
        read(); // what arrived with the end of the handshake
    return handshakeDone;
}

bool Peer::junk()
{
    sentNonTls = true;
    for (size_t size = std::stoul(argument); size > 0; --size)
        outbox += static_cast<char>(random());
    return true;
}

void Peer::putIntoTls(const std::string& text)
{
    SSL_write(tls, text.data(), static_cast<int>(text.size()));
    collect();
}

bool Peer::send()
{
    const std::vector<std::string> words = split(argument, ':');
    sendMessages(words.at(0), words.at(1));
    return true;
}

void Peer::sendMessages(const std::string& how, const std::string& letters)
{
    const size_t first = asked.size();
    inPieces = how == "pieces";
    held = how == "held";
    std::string together;
    for (const char letter : letters) {
        const int number = messages++;
        const std::string text = messageText(letter, id, number);
        const std::string reply = predictedReply(letter, id, number, hasSystemAccount);
        const std::string user = contentOf(text, "username");
        together += text;
        longest = std::max(longest, std::ssize(text));
        unsent += std::ssize(reply);
        if (admitted) {
            predicted += reply;
            updates += letter == 'U' ? 1 : 0;
            if (callsHost(letter))
                asked.push_back({messageId(id, number), -1});
        }
        if (isLogin(letter))
            logins.push_back((isValidLogin(letter) ? "login " : "invalidLogin ") + user);
        admitted = admitted || isValidLogin(letter);
        hasSystemAccount = hasSystemAccount || letter == 'O';
    }
    if (together.size() < OneRead && (how == "one" || how == "held"))
        for (size_t index = first; index < asked.size(); ++index)
            asked[index].record = static_cast<int>(step);
    while (!together.empty()) {
        const size_t size = inPieces ? std::min(together.size(), 1 + random() % LongestPiece) : together.size();
        putIntoTls(together.substr(0, size));
        together.erase(0, size);
    }
}

bool Peer::sendSurplus()
{
    static const std::string Junk(65'536, 'j');
    if (surplus == 0)
        surplus = std::stoul(argument) << 20U;
    for (size_t count = 1; surplus > 0 && count > 0; surplus -= count) {
        count = put(Junk.data(), std::min(surplus, Junk.size()));
        stepSince = count > 0 ? now : stepSince;
    }
    if (now - stepSince > SurplusPatienceMs)
        surplus = 0;
    return surplus == 0;
}

bool Peer::changeKeys()
{
    constexpr int AtOnce = 100;
    constexpr int AnswerBytes = 27;
    muted = true;
    const int all = SSL_version(tls) == TLS1_3_VERSION ? std::stoi(argument) : 0; // TLS 1.2 has none
    for (const int end = std::min(all, keys + AtOnce); keys < end; ++keys) {
        SSL_key_update(tls, SSL_KEY_UPDATE_REQUESTED);
        SSL_do_handshake(tls);
        collect();
        unsent += AnswerBytes;
    }
    return keys == all;
}

bool Peer::doomed()
{
    gotStuck = now - stepSince > DoomPatienceMs;
    argument = "1";
    keys = 0;
    changeKeys();
    return gotStuck && finish();
}

bool Peer::witness()
{
    if (!hasAllReplies())
        return false;
    const int64_t us = nowUs();
    if (askedAtUs == 0) {
        askedAtUs = us;
        stepSince = now;
        sendMessages("one", "u");
        writeOut();
        return false;
    }
    shared.figures.longestWaitUs = std::max<int64_t>(shared.figures.longestWaitUs, us - askedAtUs);
    askedAtUs = 0; // the next command follows in the next turn
    return shared.clientsAreDone;
}

bool Peer::storm()
{
    for (int count = 0; count < StormTurn; ++count) {
        // It does not wait. If the system's queue is full, a later attempt finds room.
        const int other = makeSocket(StormLastByte, 0);
        connectTo(other, shared.port);
        closeWithReset(other);
    }
    return now - stepSince >= std::stoi(argument);
}

/// Otherwise its system may discard what it has sent.
bool Peer::isAllReceived() const
{
    int unreceived = 0;
    return !sentNonTls && outbox.empty() && ioctl(fd, TIOCOUTQ, &unreceived) == 0 && unreceived == 0;
}

bool Peer::leave()
{
    sendCloseNotify();
    delivered = isAllReceived();
    return finish();
}

bool Peer::reset()
{
    delivered = isAllReceived();
    closeWithReset(std::exchange(fd, -1));
    return finish();
}

bool Peer::sendCloseNotify()
{
    held = false;
    if (handshakeDone && !sentCloseNotify) {
        SSL_shutdown(tls);
        collect();
        sentCloseNotify = true;
    }
    writeOut();
    return true;
}

bool Peer::fin()
{
    held = false;
    writeOut();
    if (outbox.empty() && !finSent) {
        shutdown(fd, SHUT_WR);
        finSent = true;
        orderly = !sentNonTls;
    }
    return ended && finish();
}

} // namespace world
