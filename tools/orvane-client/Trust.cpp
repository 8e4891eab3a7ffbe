#include "Trust.h"

#include "Outcome.h"
#include "Settings.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// A section for each host, with the fingerprint of the certificate for each port.
QSettings knownHosts()
{
    return {
        QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/known-hosts"_L1, QSettings::IniFormat};
}

QString keyOf(const Settings& settings)
{
    return u"%1/%2"_s.arg(settings.host.toLower()).arg(settings.port);
}

bool isSaved(QSettings& hosts)
{
    hosts.sync();
    return hosts.status() == QSettings::NoError;
}

QString textOf(const QList<QSslError>& errors)
{
    QStringList texts;
    for (const QSslError& error : errors)
        texts.append(error.errorString().remove(QRegularExpression(u"\\.$"_s)));
    texts.removeDuplicates();
    return texts.join("; "_L1);
}

QString textOf(const QByteArray& digest)
{
    return QString::fromLatin1(digest.toHex(':').toUpper());
}

/// Ignores what openssl prints before it, colons, and case.
QString readFingerprint(const QString& text)
{
    const QByteArray digest = QByteArray::fromHex(text.mid(text.indexOf(u'=') + 1).toLatin1());
    if (digest.size() != QCryptographicHash::hashLength(QCryptographicHash::Sha256))
        refuse(u"invalid SHA-256 fingerprint \"%1\": it needs 64 hexadecimal digits"_s.arg(text));
    return textOf(digest);
}

QList<QSslCertificate> readAuthorities(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        refuse(u"cannot read certificates from \"%1\": %2"_s.arg(fileName, file.errorString()));
    QList<QSslCertificate> certificates = QSslCertificate::fromDevice(&file, QSsl::Pem);
    if (certificates.isEmpty())
        refuse(u"\"%1\" contains no PEM certificate"_s.arg(fileName));
    return certificates;
}

} // namespace

QString fingerprintOf(const QSslCertificate& certificate)
{
    return textOf(certificate.digest(QCryptographicHash::Sha256));
}

void forget(const Settings& settings)
{
    QSettings hosts = knownHosts();
    if (!hosts.contains(keyOf(settings)))
        refuse(u"%1 is not a known host"_s.arg(settings.address()));
    hosts.remove(keyOf(settings));
    if (!isSaved(hosts))
        refuse(u"cannot write \"%1\""_s.arg(hosts.fileName()));
}

Trust::Trust(const Settings& settings)
    : settings(settings)
{
    if (settings.has("fingerprint"))
        fingerprint = readFingerprint(settings.get("fingerprint"));
    if (settings.has("ca"))
        authorities = readAuthorities(settings.get("ca"));
}

QSslConfiguration Trust::configuration() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer); // otherwise there are no errors to judge
    if (!authorities.isEmpty())
        configuration.setCaCertificates(authorities);
    return configuration;
}

QString Trust::judge(const QSslCertificate& certificate, const QList<QSslError>& errors) const
{
    const QString shown = fingerprintOf(certificate);
    QSettings hosts = knownHosts();
    const QString known = authorities.isEmpty() ? hosts.value(keyOf(settings)).toString() : QString();
    const QString expected = fingerprint.isEmpty() ? known : fingerprint;
    const bool isNew = expected.isEmpty() && settings.has("trust-on-first-use");
    // With --show-certificate the user decides.
    if (settings.has("insecure") || settings.has("show-certificate") || shown == expected)
        return {};
    QString reason;
    if (!fingerprint.isEmpty())
        reason = u"its fingerprint is %1, not the one given"_s.arg(shown);
    else if (!known.isEmpty())
        reason = u"IT HAS CHANGED, someone may be intercepting the connection: its fingerprint is %1, but was %2 at "
                 "first use (only if the host has a new certificate: orvane-client --forget %3)"_s.arg(
                     shown, known, settings.address());
    else if (!isNew && !errors.isEmpty())
        reason = u"%1 (if this is the right host, trust it with --fingerprint %2)"_s.arg(textOf(errors), shown);
    if (isNew)
        hosts.setValue(keyOf(settings), shown);
    if (isNew && !isSaved(hosts))
        reason = u"cannot write \"%1\""_s.arg(hosts.fileName());
    if (!reason.isEmpty())
        throw Outcome {
            ExitStatus::NoConnection, u"the certificate of %1 is refused: %2"_s.arg(settings.address(), reason)};
    return isNew ? u"%1 is now trusted with the certificate %2"_s.arg(settings.address().toLower(), shown) : QString();
}

} // namespace OrvaneClient
