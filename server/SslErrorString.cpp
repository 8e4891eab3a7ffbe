#include "OrvaneServer.h"

#include <QDateTime>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>

#include <algorithm>
#include <functional>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// Whether the TLS library accepts this configuration. Qt reports that only when encryption starts, so it is started on
/// an unconnected socket. Qt's reason is often empty or unrelated.
bool isUsable(const QSslConfiguration& configuration)
{
    QSslSocket socket;
    socket.setSslConfiguration(configuration);
    socket.setSocketDescriptor(-1); // fails, but Qt cannot start encryption without a socket layer
    socket.startServerEncryption();
    return socket.error() != QAbstractSocket::SslInternalError
        && socket.error() != QAbstractSocket::SslInvalidUserDataError;
}

QString keyError(const QSslKey& key, const QSslCertificate& certificate)
{
    if (key.isNull())
        return u"There is no private key: none was set, or it could not be read, as with a wrong pass phrase"_s;
    if (certificate.isNull())
        return u"There is no certificate: none was set, or it could not be read"_s;
    if (key.type() == QSsl::PublicKey)
        return u"The private key is a public one"_s;
    if (key.algorithm() == QSsl::Dsa || key.algorithm() == QSsl::Dh)
        return u"The private key is of a kind that TLS has no use for"_s;
    if (key.algorithm() == QSsl::Ec && QSslSocket::activeBackend() == "schannel"_L1) // of which Qt says nothing
        return u"Schannel cannot use a key of an elliptic curve: the DLLs of OpenSSL are missing"_s;

    QSslConfiguration justThese;
    justThese.setPrivateKey(key);
    justThese.setLocalCertificate(certificate);
    if (isUsable(justThese))
        return {};
    const QSslKey publicKey = certificate.publicKey();
    if (key.algorithm() != publicKey.algorithm() || key.length() != publicKey.length())
        return u"The private key is not that of the certificate"_s;
    return u"The private key is not that of the certificate, or the TLS library finds one of them too weak (%1 bits)"_s
        .arg(key.length());
}

/// Qt loads the system's trusted issuers on demand, unless others, or none, were set. An empty list can mean either.
/// Comparing with a configuration for which none were set tells which.
bool trustsNoIssuer(const QSslConfiguration& configuration)
{
    const QList<QSslCertificate> issuers = configuration.caCertificates();
    if (!issuers.isEmpty())
        return std::all_of(issuers.begin(), issuers.end(), std::mem_fn(&QSslCertificate::isNull));
    QSslConfiguration withoutIssuers = configuration;
    withoutIssuers.setCaCertificates({});
    return configuration == withoutIssuers;
}

QString validityError(const QSslCertificate& certificate)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (now < certificate.effectiveDate())
        return u"The certificate is not valid before %1"_s.arg(certificate.effectiveDate().toString(Qt::ISODate));
    if (now > certificate.expiryDate())
        return u"The certificate is not valid any more, since %1"_s.arg(certificate.expiryDate().toString(Qt::ISODate));
    return {};
}

QString errorOf(const QSslConfiguration& configuration)
{
    if (!QSslSocket::supportsSsl())
        return u"Qt has no TLS library on this machine"_s;
    const QSslCertificate certificate = configuration.localCertificate();
    if (QString error = keyError(configuration.privateKey(), certificate); !error.isEmpty())
        return error;
    const QList<QSslCertificate> chain = configuration.localCertificateChain();
    if (std::any_of(chain.begin(), chain.end(), std::mem_fn(&QSslCertificate::isNull)))
        return u"One of the certificates behind the first one could not be read"_s;
    if (!isUsable(configuration))
        return u"Key and certificate are usable, but not the protocol, ciphers, curves, parameters or options beside them"_s;
    if (configuration.peerVerifyMode() == QSslSocket::VerifyPeer && trustsNoIssuer(configuration))
        return u"Clients must show a certificate, and no issuer of certificates is trusted"_s;
    return validityError(certificate);
}

} // namespace

QString OrvaneServer::sslErrorString(const QSslConfiguration& configuration)
{
    const QString error = errorOf(configuration);
    return QString(error.constData(), error.size()); // not a literal: the host may keep it longer than the library
}

} // namespace OrvaneInterface
