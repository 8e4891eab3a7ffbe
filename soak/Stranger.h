#pragma once

#include <QByteArrayView>
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
    void encryptLogin(const QByteArray& user, const QByteArray& password);
    void encryptLoginAsOrvane();
    void makeCloseNotify();
    void makeKeyUpdate(bool requestsAnother);

    /// \return false when the server has left, or when it takes too long
    bool sendReady();
    /// The same with bytes past TLS.
    bool sendRaw(QByteArrayView bytes);
    /// Waits for bytes of the server. \return false when none came in time
    bool waitForBytes(int milliseconds) const;
    /// \return false when the server has left
    bool readAndForget();

private:
    bool connectTo(quint16 port);

    QDeadlineTimer deadline;
    Tally& tally;
    SSL* tls;
    int descriptor = -1;
};

} // namespace soak
