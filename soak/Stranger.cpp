#include "Stranger.h"

#include <algorithm>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

void limitWaiting(int descriptor, qint64 ms)
{
    const timeval time {ms / 1000, ms % 1000 * 1000};
    for (const int direction : {SO_SNDTIMEO, SO_RCVTIMEO})
        setsockopt(descriptor, SOL_SOCKET, direction, &time, sizeof time);
}

} // namespace

Stranger::Stranger(Target& target)
    : target(target)
{
    static SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    while (!connect() && !target.deadline.hasExpired()) { }
    tls = SSL_new(context);
    SSL_set_fd(tls, descriptor);
}

Stranger::~Stranger()
{
    SSL_free(tls);
    ::close(descriptor);
}

/// While the server's queue is full, the system would retry only after a second; a new socket gets in sooner.
bool Stranger::connect()
{
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const linger reset {1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    const sockaddr_in address {AF_INET, htons(target.port), {htonl(INADDR_LOOPBACK)}, {}};
    limitWaiting(descriptor, 2);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return false;
    limitWaiting(descriptor, std::max<qint64>(1, target.deadline.remainingTime()));
    ++target.connections;
    return true;
}

void Stranger::beginHandshake()
{
    BIO_socket_nbio(descriptor, 1);
    SSL_connect(tls);
    BIO_socket_nbio(descriptor, 0);
}

bool Stranger::shakeHands()
{
    return SSL_connect(tls) == 1;
}

bool Stranger::send(const QByteArray& bytes)
{
    return count(SSL_write(tls, bytes.data(), static_cast<int>(bytes.size())) == bytes.size());
}

bool Stranger::sendKeyUpdate(int kind)
{
    return count(SSL_key_update(tls, kind) == 1 && SSL_do_handshake(tls) == 1);
}

bool Stranger::sendCloseNotify()
{
    return count(SSL_shutdown(tls) >= 0);
}

bool Stranger::sendRaw(const QByteArray& bytes)
{
    return count(BIO_write(SSL_get_wbio(tls), bytes.data(), static_cast<int>(bytes.size())) == bytes.size());
}

bool Stranger::count(bool isSent)
{
    const quint64 written = BIO_number_written(SSL_get_wbio(tls));
    target.bytes += static_cast<qint64>(written - std::exchange(counted, written));
    return isSent;
}

bool Stranger::receive(const QByteArray& expected)
{
    QByteArray bytes(expected.size(), '\0');
    int got = 1;
    for (qsizetype done = 0; got > 0 && done < bytes.size(); done += got)
        got = SSL_read(tls, bytes.data() + done, static_cast<int>(bytes.size() - done));
    return bytes == expected;
}
