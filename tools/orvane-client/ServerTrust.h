#pragma once

#include "Outcome.h"

#include <QByteArray>
#include <QList>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

namespace OrvaneClient {

/// Pairs of hexadecimal digits with colons between them.
QString fingerprintOf(const QSslCertificate& certificate);

/// Which certificates of a host are good enough. Hosts mostly have self-signed ones, so that there is more to choose
/// from than the authorities of the system.
class ServerTrust {
public:
    static ServerTrust systemAuthorities();
    static ServerTrust anyCertificate();
    /// Exactly the certificate with this SHA-256 fingerprint; colons and the case of the digits do not matter, nor does
    /// what openssl prints before it.
    static Result<ServerTrust> pinned(const QString& fingerprint);
    /// The certificate that the host had when it was reached for the first time; see remember().
    static Result<ServerTrust> onFirstUse(const QString& address);
    /// Certificates of a PEM file, or signed by one of them.
    static Result<ServerTrust> authoritiesFrom(const QString& fileName);

    QSslConfiguration configuration() const;

    /// Why the certificate is not good enough; empty when it is.
    QString refusal(const QSslCertificate& certificate, const QList<QSslError>& errors) const;

    struct FirstUse {
        QString notice; ///< what there is to tell of it; may be empty
        QString refusal; ///< why it is not good enough after all; empty when it is
    };
    /// To be called with a certificate that is good enough. Keeps that of a first use for the next time.
    FirstUse remember(const QSslCertificate& certificate);

private:
    ServerTrust() = default;

    QString newAddress; ///< of a host that is used for the first time
    QString knownHosts; ///< the file where the digest was found
    bool acceptsAny = false;
    QByteArray digest;
    QList<QSslCertificate> authorities;
};

} // namespace OrvaneClient
