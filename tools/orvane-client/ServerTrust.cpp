#include "ServerTrust.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>

#include <utility>

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

QString knownHostsFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/known-hosts"_L1;
}

/// Empty for a host that is not known. Each line has an address and the fingerprint of its certificate.
Result<QString> knownFingerprint(const QString& address)
{
    QFile file(knownHostsFile());
    if (!file.exists())
        return QString();
    if (!file.open(QIODevice::ReadOnly))
        return Result<QString>::failure(u"cannot read \"%1\": %2"_s.arg(file.fileName(), file.errorString()));
    while (!file.atEnd()) {
        const QStringList words = QString::fromUtf8(file.readLine()).simplified().split(u' ');
        if (words.first() == address)
            return words.last();
    }
    return QString();
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
    const QString digits = fingerprint.mid(fingerprint.indexOf(u'=') + 1).remove(u':');
    if (!pattern.match(digits).hasMatch())
        return Result<ServerTrust>::failure(
            u"\"%1\" is no SHA-256 fingerprint: it takes 64 hexadecimal digits"_s.arg(fingerprint));
    ServerTrust trust;
    trust.digest = QByteArray::fromHex(digits.toLatin1());
    return trust;
}

Result<ServerTrust> ServerTrust::onFirstUse(const QString& address)
{
    const Result<QString> known = knownFingerprint(address.toLower());
    if (!known)
        return Result<ServerTrust>::failure(known.error());
    Result<ServerTrust> trust = known->isEmpty() ? Result<ServerTrust>(anyCertificate()) : pinned(*known);
    if (!trust)
        return Result<ServerTrust>::failure(u"in \"%1\": %2"_s.arg(knownHostsFile(), trust.error()));
    ServerTrust result = *trust;
    result.newAddress = known->isEmpty() ? address.toLower() : QString();
    result.knownHosts = knownHostsFile();
    return result;
}

ServerTrust::FirstUse ServerTrust::remember(const QSslCertificate& certificate)
{
    if (newAddress.isEmpty())
        return {};
    const QString address = std::exchange(newAddress, {});
    const QString fingerprint = fingerprintOf(certificate);
    acceptsAny = false;
    digest = certificate.digest(QCryptographicHash::Sha256);

    QDir().mkpath(QFileInfo(knownHosts).path());
    QLockFile lock(knownHosts + ".lock"_L1); // another client may be here for the first time, too
    lock.lock();
    const Result<QString> known = knownFingerprint(address);
    if (known && *known == fingerprint)
        return {};
    if (known && !known->isEmpty())
        return {
            {}, u"another client has just trusted the fingerprint %1, and this one is %2"_s.arg(*known, fingerprint)};
    QFile file(knownHosts);
    const QByteArray line = u"\n%1 %2\n"_s.arg(address, fingerprint).toUtf8();
    const bool isKept = file.open(QIODevice::Append | QIODevice::Unbuffered) && file.write(line) == line.size();
    return {isKept ? u"%1 is trusted from now on with the certificate %2"_s.arg(address, fingerprint)
                   : u"cannot remember the certificate of %1 in \"%2\": %3"_s.arg(
                       address, file.fileName(), file.errorString()),
        {}};
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
        return knownHosts.isEmpty()
            ? u"its fingerprint is %1, not the one given"_s.arg(fingerprintOf(certificate))
            : u"its fingerprint is %1, not the one of its first use (if the host has a new one, remove its line from \"%2\")"_s
                  .arg(fingerprintOf(certificate), knownHosts);
    }
    if (errors.isEmpty())
        return {};
    return u"%1 (if this is the host that you mean, trust it with --fingerprint %2)"_s.arg(
        reasonsIn(errors), fingerprintOf(certificate));
}

} // namespace OrvaneClient
