#include "ServerTrust.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

QString reasonsIn(const QList<QSslError>& errors)
{
    QStringList reasons;
    for (const QSslError& error : errors) {
        QString reason = error.errorString();
        if (reason.endsWith(u'.'))
            reason.chop(1);
        if (!reasons.contains(reason))
            reasons.append(reason);
    }
    return reasons.join("; "_L1);
}

} // namespace

QString fingerprintOf(const QSslCertificate& certificate)
{
    return QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex(':').toUpper());
}

ServerTrust ServerTrust::systemAuthorities()
{
    return {};
}

ServerTrust ServerTrust::anyCertificate()
{
    ServerTrust trust;
    trust.acceptsAny = true;
    return trust;
}

Result<ServerTrust> ServerTrust::pinned(const QString& fingerprint)
{
    static const QRegularExpression pattern(QRegularExpression::anchoredPattern(u"[0-9A-Fa-f]{64}"_s));
    const QString digits = QString(fingerprint).remove(u':');
    if (!pattern.match(digits).hasMatch())
        return Result<ServerTrust>::failure(
            u"\"%1\" is no SHA-256 fingerprint: it takes 64 hexadecimal digits"_s.arg(fingerprint));
    ServerTrust trust;
    trust.digest = QByteArray::fromHex(digits.toLatin1());
    return trust;
}

Result<ServerTrust> ServerTrust::authoritiesFrom(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return Result<ServerTrust>::failure(
            u"cannot read certificates from \"%1\": %2"_s.arg(fileName, file.errorString()));
    ServerTrust trust;
    trust.authorities = QSslCertificate::fromDevice(&file, QSsl::Pem);
    if (trust.authorities.isEmpty())
        return Result<ServerTrust>::failure(u"\"%1\" holds no PEM certificate"_s.arg(fileName));
    return trust;
}

QSslConfiguration ServerTrust::configuration() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer); // or there would be no errors to judge
    if (!authorities.isEmpty())
        configuration.setCaCertificates(authorities);
    return configuration;
}

QString ServerTrust::refusal(const QSslCertificate& certificate, const QList<QSslError>& errors) const
{
    if (acceptsAny)
        return {};
    if (!digest.isEmpty()) {
        if (certificate.digest(QCryptographicHash::Sha256) == digest)
            return {};
        return u"its fingerprint is %1, not the one given"_s.arg(fingerprintOf(certificate));
    }
    if (errors.isEmpty())
        return {};
    return u"%1 (if this is the host that you mean, trust it with --fingerprint %2)"_s.arg(
        reasonsIn(errors), fingerprintOf(certificate));
}

} // namespace OrvaneClient
