#pragma once

#include <QByteArray>
#include <QDeadlineTimer>

#include <openssl/types.h>

/// A server, and what strangers have done to it so far.
struct Target {
    quint16 port;
    QDeadlineTimer deadline {60000}; ///< for connecting; all else may wait a little longer
    qint64 bytes = 0; ///< that the system has taken from them
    qint64 connections = 0;
};

/// A client that does to TLS what QSslSocket cannot. It reads nothing by itself, and leaves by a reset. For one thread.
class Stranger {
    Q_DISABLE_COPY_MOVE(Stranger)

public:
    explicit Stranger(Target& target);
    ~Stranger();

    /// Sends the first message of a handshake, to be gone on with by shakeHands().
    void beginHandshake();

    // Each \return false when the server has left, or when it takes too long.
    bool shakeHands();
    bool send(const QByteArray& bytes);
    bool sendKeyUpdate(int kind);
    bool sendCloseNotify();
    /// Bytes past TLS.
    bool sendRaw(const QByteArray& bytes);
    /// \return whether the server sends just this next
    bool receive(const QByteArray& expected);
    /// Leaves without a reset, and waits for the server to close the connection, too.
    bool close() const;

private:
    bool connect();
    bool count(bool isSent);

    Target& target;
    SSL* tls = nullptr;
    int descriptor = -1;
    quint64 counted = 0;
};
