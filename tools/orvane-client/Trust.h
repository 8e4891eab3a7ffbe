#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

namespace OrvaneClient {

/// Which certificates of a host are accepted. Most hosts have self-signed ones, so the authorities of the system are
/// not enough.
struct Trust {
    enum class Kind {
        Known, ///< that of the known host; of another one what the system's authorities have signed
        OnFirstUse, ///< that of the known host; another one becomes known
        Any,
        Fingerprint,
        Authorities,
    };

    Kind kind = Kind::Known;
    QString fingerprint = {};
    QList<QSslCertificate> authorities = {};

    /// Exactly the certificate with this SHA-256 fingerprint; colons, case, and what openssl prints before it do not
    /// matter.
    static Trust inFingerprint(const QString& text);
    /// The certificates of a PEM file, and those that they signed.
    static Trust inAuthorities(const QString& fileName);

    QSslConfiguration configuration() const;
};

/// Throws why the certificate is refused. A host that is trusted on first use becomes known. \a address: host:port
/// \return what the user should know; may be empty
QString judge(
    const Trust& trust, const QString& address, const QSslCertificate& certificate, const QList<QSslError>& errors);

/// Makes a known host unknown. \return whether it was known
bool forget(const QString& address);

/// Pairs of hexadecimal digits with colons between them.
QString fingerprintOf(const QSslCertificate& certificate);

} // namespace OrvaneClient
