#pragma once

#include "Patience.h"
#include "RecordingHost.h"
#include "TlsClient.h"

#include <OrvaneServer.h>

#include <memory>

/// Sent last: once its reply has come, nothing else can.
inline const QByteArray LastCommand = "<theLast/>";
inline const QByteArray LastReply = rejection("theLast", "Unknown command");

/// A host and its server, which listens on a free port and has an account.
class Session {
public:
    explicit Session(
        const QString& userName = QStringLiteral("operator"), const QString& password = QStringLiteral("secret"));

    /// A client after its handshake, known to the server; null if that failed.
    std::unique_ptr<TlsClient> connectedClient() const;
    /// The same, logged in with the system account.
    std::unique_ptr<TlsClient> orvaneClient() const;

    /// A client that the system has accepted; the server does so once the event loop runs. TLS has not begun.
    std::unique_ptr<TlsClient> tcpClient() const;
    /// How many clients the server has accepted and not yet released.
    qsizetype acceptedCount() const { return server->findChildren<QSslSocket*>().size(); }

    RecordingHost host;
    std::unique_ptr<OrvaneInterface::OrvaneServer> server;
};

/// Whether a client that has logged in gets a reply.
bool isServed(TlsClient& client);
