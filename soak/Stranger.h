#pragma once

#include <QByteArray>
#include <QDeadlineTimer>

#include <openssl/types.h>

namespace soak {

/// What strangers have done so far.
struct Tally {
    qint64 bytes = 0; ///< that the system has taken from them
    qint64 connections = 0;
};

/// A client that does to TLS what QSslSocket cannot. It reads nothing by itself, keeps what it encrypts until it is
/// told to send it, and leaves by a reset. For one thread.
class Stranger {
    Q_DISABLE_COPY_MOVE(Stranger)

public:
    /// Connects, which like all else gives up at \a deadline.
    Stranger(quint16 port, QDeadlineTimer deadline, Tally& tally);
    ~Stranger();

    /// Makes the first message of a handshake.
    void beginHandshake();
    bool finishHandshake();

    void encrypt(QByteArrayView bytes);
    void encryptLogin(
        const QByteArray& user = "Orvane", const QByteArray& password = "157b25b09a99c70fc75a6e79412a00b2");
    void makeCloseNotify();
    void makeKeyUpdate(bool requestsAnother);

    /// \return false when the server has left, or when it takes too long
    bool sendReady();
    /// The same with bytes past TLS.
    bool sendRaw(QByteArrayView bytes);
    /// The next bytes that the server has encrypted; fewer when it has left or takes too long.
    QByteArray read(qsizetype size);
    bool waitForAnything() const;
    /// Leaves without a reset. \return whether the server has closed the connection, too
    bool close(bool withNotify);

private:
    bool connectTo(quint16 port);
    bool waitFor(short event) const;

    QDeadlineTimer deadline;
    Tally& tally;
    SSL* tls;
    int descriptor = -1;
};

} // namespace soak
