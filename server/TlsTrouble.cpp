#include "TlsTrouble.h"

#include <QDateTime>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// Whether the TLS library would begin with these two. Qt tells only when encryption starts, so it is started, at a
/// socket that leads nowhere.
bool isUsable(const QSslConfiguration& configuration)
{
    QSslSocket socket;
    socket.setSslConfiguration(configuration);
    socket.setSocketDescriptor(-1); // fails, but without a socket layer Qt could not start
    socket.startServerEncryption();
    return socket.error() != QAbstractSocket::SslInternalError
        && socket.error() != QAbstractSocket::SslInvalidUserDataError;
}

QString validityTrouble(const QSslCertificate& certificate)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (now < certificate.effectiveDate())
        return u"The certificate is not valid before %1"_s.arg(certificate.effectiveDate().toString(Qt::ISODate));
    if (now > certificate.expiryDate())
        return u"The certificate is not valid any more, since %1"_s.arg(certificate.expiryDate().toString(Qt::ISODate));
    return {};
}

} // namespace

QString tlsTrouble(const QSslConfiguration& configuration)
{
    if (!QSslSocket::supportsSsl())
        return u"Qt has no TLS library on this machine"_s;
    const QSslKey key = configuration.privateKey();
    const QSslCertificate certificate = configuration.localCertificate();
    if (key.isNull())
        return u"There is no private key: none was set, or it could not be read, as with a wrong pass phrase"_s;
    if (certificate.isNull())
        return u"There is no certificate: none was set, or it could not be read"_s;
    if (!isUsable(configuration)) {
        const QSslKey publicKey = certificate.publicKey();
        if (key.algorithm() != publicKey.algorithm() || key.length() != publicKey.length())
            return u"The private key is not that of the certificate"_s;
        return u"The private key is not that of the certificate, or its %1 bits are too few for TLS"_s.arg(
            key.length());
    }
    return validityTrouble(certificate);
}

} // namespace OrvaneInterface
