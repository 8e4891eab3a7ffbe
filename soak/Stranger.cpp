#include "Stranger.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace soak {

namespace {

SSL* makeTls()
{
    static SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    SSL* tls = SSL_new(context);
    SSL_set_connect_state(tls);
    return tls;
}

bool waitForEvent(int descriptor, short event, int milliseconds)
{
    pollfd waiting {descriptor, event, 0};
    return poll(&waiting, 1, milliseconds) > 0;
}

} // namespace

Stranger::Stranger(quint16 port, QDeadlineTimer deadline, Tally& tally)
    : deadline(deadline)
    , tally(tally)
    , tls(makeTls())
{
    while (!connectTo(port) && !deadline.hasExpired()) { }
    SSL_set0_rbio(tls, BIO_new_socket(descriptor, BIO_NOCLOSE));
    SSL_set0_wbio(tls, BIO_new(BIO_s_mem()));
}

Stranger::~Stranger()
{
    SSL_free(tls);
    ::close(descriptor);
}

/// While the server's queue is full the system would try again after a second; a new socket gets in sooner.
bool Stranger::connectTo(quint16 port)
{
    constexpr int patienceMs = 2;
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const linger reset {1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    static_cast<void>(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    int error = 0;
    socklen_t length = sizeof error;
    if (!waitForEvent(descriptor, POLLOUT, patienceMs)
        || getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0)
        return false;
    ++tally.connections;
    return true;
}

void Stranger::beginHandshake()
{
    SSL_do_handshake(tls);
}

bool Stranger::finishHandshake()
{
    ERR_clear_error(); // which an earlier stranger may have left to this thread
    while (SSL_do_handshake(tls) != 1) {
        if (SSL_get_error(tls, -1) != SSL_ERROR_WANT_READ || !sendReady() || !waitForAnything())
            return false;
    }
    return sendReady();
}

void Stranger::encrypt(QByteArrayView bytes)
{
    SSL_write(tls, bytes.data(), static_cast<int>(bytes.size()));
}

void Stranger::encryptLogin(const QByteArray& user, const QByteArray& password)
{
    encrypt(
        "<loginClient><username>" + user + "</username><password>" + password + "</password></loginClient>\r\n\r\n");
}

void Stranger::makeCloseNotify()
{
    SSL_shutdown(tls);
}

void Stranger::makeKeyUpdate(bool requestsAnother)
{
    SSL_key_update(tls, requestsAnother ? SSL_KEY_UPDATE_REQUESTED : SSL_KEY_UPDATE_NOT_REQUESTED);
    SSL_do_handshake(tls);
}

bool Stranger::sendReady()
{
    char* data = nullptr;
    const auto size = static_cast<qsizetype>(BIO_get_mem_data(SSL_get_wbio(tls), &data));
    const bool isSent = sendRaw({data, size});
    static_cast<void>(BIO_reset(SSL_get_wbio(tls)));
    return isSent;
}

bool Stranger::sendRaw(QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        const ssize_t sent = send(descriptor, bytes.data(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL);
        if (sent > 0) {
            tally.bytes += sent;
            bytes = bytes.sliced(sent);
        } else if (errno != EAGAIN || !waitFor(POLLOUT)) {
            return false;
        }
    }
    return true;
}

QByteArray Stranger::read(qsizetype size)
{
    QByteArray bytes(size, '\0');
    qsizetype done = 0;
    ERR_clear_error();
    while (done < size) {
        const int count = SSL_read(tls, bytes.data() + done, static_cast<int>(size - done));
        done += std::max(0, count);
        if (count <= 0 && (SSL_get_error(tls, count) != SSL_ERROR_WANT_READ || !waitForAnything()))
            break;
    }
    return bytes.first(done);
}

bool Stranger::waitForAnything() const
{
    return waitFor(POLLIN);
}

bool Stranger::close(bool withNotify)
{
    if (withNotify)
        SSL_shutdown(tls);
    if (!sendReady() || shutdown(descriptor, SHUT_WR) != 0)
        return false;
    std::array<char, 4096> unread {};
    while (waitForAnything()) {
        if (recv(descriptor, unread.data(), unread.size(), 0) <= 0)
            return true;
    }
    return false;
}

bool Stranger::waitFor(short event) const
{
    return waitForEvent(descriptor, event, static_cast<int>(deadline.remainingTime()));
}

} // namespace soak
