#pragma once

#include "Patience.h"
#include "RecordingHost.h"
#include "TlsClient.h"

#include <OrvaneServer.h>

#include <memory>

/// Sent last, so that a test can tell that nothing more comes before its reply.
inline const QByteArray LastCommand = "<theLast/>";
inline const QByteArray LastReply = rejection("theLast", "Unknown command");

/// A host with its server, as a test needs them: listening on a free loopback port, with an account.
class Session {
public:
    explicit Session(
        const QString& userName = QStringLiteral("operator"), const QString& password = QStringLiteral("secret"));

    /// A client with its handshake done, known to the server; null when that did not succeed.
    std::unique_ptr<TlsClient> connectedClient() const;
    /// The same, logged in with the system account.
    std::unique_ptr<TlsClient> orvaneClient() const;

    /// A client that the system has accepted, and the server not before the event loop runs. It has not begun with TLS.
    std::unique_ptr<TlsClient> comer() const;
    /// How many the server has accepted, and not yet let go.
    qsizetype acceptedCount() const { return server->findChildren<QSslSocket*>().size(); }

    RecordingHost host;
    std::unique_ptr<OrvaneInterface::OrvaneServer> server;
};

/// Whether a client that has logged in with the system account is answered.
bool isServed(TlsClient& client);
