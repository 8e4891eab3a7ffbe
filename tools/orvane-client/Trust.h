#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

namespace OrvaneClient {

class Settings;

/// Decides whether the host's certificate is accepted. Most are self-signed, so the authorities of the system are not
/// enough.
class Trust {
public:
    /// The settings must outlive it. Refuses an invalid fingerprint, and a file without certificates.
    explicit Trust(const Settings& settings);

    QSslConfiguration configuration() const;
    /// Throws the reason if the certificate is refused. A host trusted on first use becomes known.
    /// \return a message for the user; may be empty
    QString judge(const QSslCertificate& certificate, const QList<QSslError>& errors) const;

private:
    const Settings& settings;
    QString fingerprint; ///< the only accepted one; empty: not given
    QList<QSslCertificate> authorities; ///< empty: those of the system
};

/// Removes the host of the settings from the known hosts. Refuses an unknown one.
void forget(const Settings& settings);

/// Pairs of hexadecimal digits with colons between them.
QString fingerprintOf(const QSslCertificate& certificate);

} // namespace OrvaneClient
