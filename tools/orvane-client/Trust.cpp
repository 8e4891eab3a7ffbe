#include "Trust.h"

#include "Outcome.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

[[noreturn]] void refuseCertificate(const QString& reason)
{
    throw Outcome {ExitStatus::NoConnection, reason};
}

/// Known hosts: a section for each, with the fingerprint of the certificate for each port.
class KnownHosts {
public:
    QString fingerprint(const QString& address) const { return file.value(keyOf(address)).toString(); }
    /// Empty: makes the host unknown.
    void set(const QString& address, const QString& fingerprint)
    {
        if (fingerprint.isEmpty())
            file.remove(keyOf(address));
        else
            file.setValue(keyOf(address), fingerprint);
        file.sync();
        if (file.status() != QSettings::NoError)
            refuseCertificate(u"cannot write \"%1\""_s.arg(file.fileName()));
    }

private:
    static QString keyOf(const QString& address)
    {
        return QString(address.toLower()).replace(address.lastIndexOf(u':'), 1, u'/');
    }

    QSettings file {
        QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/known-hosts"_L1, QSettings::IniFormat};
};

void judgeUnknown(const QString& fingerprint, const QList<QSslError>& errors)
{
    QStringList reasons;
    for (const QSslError& error : errors)
        reasons.append(error.errorString().remove(QRegularExpression(u"\\.$"_s)));
    reasons.removeDuplicates();
    if (!reasons.isEmpty())
        refuseCertificate(u"%1 (if this is the host that you mean, trust it with --fingerprint %2)"_s.arg(
            reasons.join("; "_L1), fingerprint));
}

} // namespace

QString fingerprintOf(const QSslCertificate& certificate)
{
    return QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex(':').toUpper());
}

bool forget(const QString& address)
{
    KnownHosts hosts;
    const bool isKnown = !hosts.fingerprint(address).isEmpty();
    if (isKnown)
        hosts.set(address, {});
    return isKnown;
}

Trust Trust::inFingerprint(const QString& text)
{
    static const QRegularExpression pattern(QRegularExpression::anchoredPattern(u"[0-9A-F]{64}"_s));
    const QString digits = text.mid(text.indexOf(u'=') + 1).remove(u':').toUpper();
    if (!pattern.match(digits).hasMatch())
        refuse(u"\"%1\" is no SHA-256 fingerprint: it takes 64 hexadecimal digits"_s.arg(text));
    return {Kind::Fingerprint, QString(digits).replace(QRegularExpression(u"(..)(?!$)"_s), u"\\1:"_s)};
}

Trust Trust::inAuthorities(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        refuse(u"cannot read certificates from \"%1\": %2"_s.arg(fileName, file.errorString()));
    Trust trust {Kind::Authorities, {}, QSslCertificate::fromDevice(&file, QSsl::Pem)};
    if (trust.authorities.isEmpty())
        refuse(u"\"%1\" holds no PEM certificate"_s.arg(fileName));
    return trust;
}

QSslConfiguration Trust::configuration() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer); // or there would be no errors to judge
    if (kind == Kind::Authorities)
        configuration.setCaCertificates(authorities);
    return configuration;
}

QString judge(
    const Trust& trust, const QString& address, const QSslCertificate& certificate, const QList<QSslError>& errors)
{
    const QString fingerprint = fingerprintOf(certificate);
    const bool isRemembered = trust.kind == Trust::Kind::Known || trust.kind == Trust::Kind::OnFirstUse;
    KnownHosts hosts;
    const QString known = isRemembered ? hosts.fingerprint(address) : trust.fingerprint;
    if (trust.kind == Trust::Kind::Any || known == fingerprint)
        return {};
    if (trust.kind == Trust::Kind::Fingerprint)
        refuseCertificate(u"its fingerprint is %1, not the one given"_s.arg(fingerprint));
    if (!known.isEmpty())
        refuseCertificate(u"IT HAS CHANGED, somebody may be in between: its fingerprint is %1, and was %2 at first use "
                          "(only if the host was given a new certificate: orvane-client --forget %3)"_s.arg(
                              fingerprint, known, address));
    if (trust.kind != Trust::Kind::OnFirstUse) {
        judgeUnknown(fingerprint, errors);
        return {};
    }
    hosts.set(address, fingerprint);
    return u"%1 is trusted from now on with the certificate %2"_s.arg(address.toLower(), fingerprint);
}

} // namespace OrvaneClient
