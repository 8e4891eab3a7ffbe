#pragma once

#include <QByteArray>
#include <QDeadlineTimer>

#include <openssl/types.h>

/// A server, and how much strangers have sent to it so far.
struct Target {
    quint16 port;
    QDeadlineTimer deadline {60000}; ///< for connecting; other steps may take a little longer
    qint64 bytes = 0; ///< that the system has accepted from them
    qint64 connections = 0;
};

/// A client that does with TLS what QSslSocket cannot. Reads only when told to, and leaves with a reset. For one
/// thread.
class Stranger {
    Q_DISABLE_COPY_MOVE(Stranger)

public:
    explicit Stranger(Target& target);
    ~Stranger();

    /// Sends the first message of a handshake; shakeHands() continues it.
    void beginHandshake();

    // Each \return false if the server has disconnected or takes too long.
    bool shakeHands();
    bool send(const QByteArray& bytes);
    bool sendKeyUpdate(int kind);
    bool sendCloseNotify();
    /// Bypasses TLS.
    bool sendRaw(const QByteArray& bytes);
    /// \return whether exactly these bytes come next
    bool receive(const QByteArray& expected);

private:
    bool connect();
    bool count(bool isSent);

    Target& target;
    SSL* tls = nullptr;
    int descriptor = -1;
    quint64 counted = 0;
};
