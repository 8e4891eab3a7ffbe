#include "Witness.h"

#include "Certificates.h"
#include "Log.h"
#include "Messages.h"

#include <openssl/ssl.h>

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace world {

namespace {

constexpr int64_t PatienceUs = 30'000'000;
constexpr int FirstLastByte = 4; // of the addresses: the other clients have 2 and 3

/// Blocking, with a time-out for both directions; -1 where nobody listens.
int connectTo(uint16_t port, int slot, int flags = 0)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    const timeval patience {PatienceUs / 1'000'000, 0};
    const timeval shortPatience {1, 0};
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &shortPatience, sizeof shortPatience); // also of connect()
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1U + FirstLastByte + static_cast<unsigned>(slot));
    static_cast<void>(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (fd >= 0
        && (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno == EINPROGRESS))
        return fd;
    if (fd >= 0)
        close(fd);
    return -1;
}

int64_t hostTimeUntil(const Shared& shared, int64_t now)
{
    const int64_t since = shared.hostSinceUs;
    return shared.hostTimeUs + (since != 0 ? now - since : 0);
}

void raise(std::atomic<int64_t>& figure, int64_t value)
{
    if (value > figure)
        figure = value;
}

bool writeAll(SSL* tls, const std::string& text)
{
    return SSL_write(tls, text.data(), static_cast<int>(text.size())) == static_cast<int>(text.size());
}

/// Whether the reply has come. One that is not the predicted one is a breach.
bool awaitReply(SSL* tls, const std::string& predicted)
{
    std::string received;
    std::array<char, 1024> buffer {};
    while (received.size() < predicted.size()) {
        const int count = SSL_read(tls, buffer.data(), buffer.size());
        if (count <= 0)
            return false;
        received.append(buffer.data(), static_cast<size_t>(count));
    }
    if (received != predicted)
        note("broken", "replies: the witness has received " + received);
    return true;
}

void testify(SSL* tls, const Shared& shared, Figures& figures)
{
    if (SSL_connect(tls) != 1 || !writeAll(tls, messageText('G', 0, 0)))
        return;
    for (int number = 0; !shared.clientsAreDone; ++number) {
        const int64_t begin = nowUs();
        const int64_t hostTime = hostTimeUntil(shared, begin);
        const int64_t turns = shared.turns;
        const bool answered =
            writeAll(tls, messageText('u', 0, number)) && awaitReply(tls, predictedReply('u', 0, number, false));
        const int64_t end = nowUs();
        if (!answered && end - begin > PatienceUs)
            note("broken", "waiting: the witness has no answer");
        if (!answered)
            return;
        if (number > 0) { // the first one waits for the login, too
            raise(figures.longestWaitUs, end - begin - (hostTimeUntil(shared, end) - hostTime));
            raise(figures.longestWaitTurns, shared.turns - turns);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

int64_t nowUs()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void bearWitness(Shared& shared, Figures& figures)
{
    while (!shared.clientsAreDone) {
        if (const int fd = connectTo(shared.ports[0], 0); fd >= 0) {
            SSL* tls = SSL_new(clientContext("13", "good"));
            SSL_set_fd(tls, fd);
            testify(tls, shared, figures);
            SSL_free(tls);
            close(fd);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void storm(const Shared& shared, int slot, int64_t ms)
{
    const linger none {1, 0};
    for (const int64_t end = nowMs() + ms; nowMs() < end && !shared.clientsAreDone;) {
        // It does not wait: where the system's queue is full the next try comes when there is a place.
        const int fd = connectTo(shared.ports[static_cast<size_t>(slot)], slot, SOCK_NONBLOCK);
        if (fd < 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &none, sizeof none);
        close(fd);
    }
}

} // namespace world
