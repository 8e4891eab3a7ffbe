#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

namespace OrvaneClient {

class Settings;

/// Which certificate of the host is accepted. Most hosts have self-signed ones, so the authorities of the system are
/// not enough.
class Trust {
public:
    /// The settings live longer. Refuses what is no fingerprint, and a file without certificates.
    explicit Trust(const Settings& settings);

    QSslConfiguration configuration() const;
    /// Throws why the certificate is refused. A host that is trusted on first use becomes known.
    /// \return what the user should know; may be empty
    QString judge(const QSslCertificate& certificate, const QList<QSslError>& errors) const;

private:
    const Settings& settings;
    QString fingerprint; ///< the only one that is accepted; empty: there is none
    QList<QSslCertificate> authorities; ///< empty: those of the system
};

/// Makes the known host of the settings unknown. Refuses one that is not known.
void forget(const Settings& settings);

/// Pairs of hexadecimal digits with colons between them.
QString fingerprintOf(const QSslCertificate& certificate);

} // namespace OrvaneClient
