#include "Trust.h"

#include "Outcome.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

[[noreturn]] void refuseCertificate(const QString& reason)
{
    throw Outcome {ExitStatus::NoConnection, reason};
}

/// Each line has the address of a known host and the fingerprint of its certificate.
QString knownHostsFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/known-hosts"_L1;
}

QStringList knownHosts()
{
    QFile file(knownHostsFile());
    if (file.exists() && !file.open(QIODevice::ReadOnly))
        refuseCertificate(u"cannot read \"%1\": %2"_s.arg(file.fileName(), file.errorString()));
    return file.isOpen() ? QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts) : QStringList();
}

bool isLineOf(const QString& line, const QString& address)
{
    return line.simplified().section(u' ', 0, 0) == address;
}

/// Empty for an unknown host.
QString knownFingerprint(const QString& address)
{
    for (const QString& line : knownHosts()) {
        if (isLineOf(line, address))
            return line.simplified().section(u' ', 1);
    }
    return {};
}

/// \return whether it is new
bool remember(const QString& address, const QString& fingerprint)
{
    QFile file(knownHostsFile());
    QDir().mkpath(QFileInfo(file).path());
    QLockFile lock(file.fileName() + ".lock"_L1); // another client may be here for the first time, too
    lock.lock();
    const QString known = knownFingerprint(address);
    if (!known.isEmpty() && known != fingerprint)
        refuseCertificate(u"another client has just trusted %1"_s.arg(known));
    const QByteArray line = u"\n%1 %2\n"_s.arg(address, fingerprint).toUtf8(); // the last line may have no end
    if (known.isEmpty() && (!file.open(QIODevice::Append | QIODevice::Unbuffered) || file.write(line) != line.size()))
        refuseCertificate(u"it cannot be remembered in \"%1\": %2"_s.arg(file.fileName(), file.errorString()));
    return known.isEmpty();
}

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
    QSaveFile file(knownHostsFile());
    QLockFile lock(file.fileName() + ".lock"_L1);
    lock.lock();
    QStringList lines = knownHosts();
    if (lines.removeIf([&](const QString& line) { return isLineOf(line, address.toLower()); }) == 0)
        return false;
    const QByteArray text = (lines + QStringList(QString())).join(u'\n').toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        refuse(u"cannot write \"%1\": %2"_s.arg(file.fileName(), file.errorString()));
    return true;
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
    const QString host = address.toLower();
    const QString known = isRemembered ? knownFingerprint(host) : trust.fingerprint;
    if (trust.kind == Trust::Kind::Any || known == fingerprint)
        return {};
    if (trust.kind == Trust::Kind::Fingerprint)
        refuseCertificate(u"its fingerprint is %1, not the one given"_s.arg(fingerprint));
    if (!known.isEmpty())
        refuseCertificate(
            u"IT HAS CHANGED, somebody may be in between: its fingerprint is %1, and was %2 at first use (only "
            "if the host was given a new certificate: orvane-client --forget %3)"_s.arg(fingerprint, known, address));
    if (trust.kind == Trust::Kind::OnFirstUse)
        return remember(host, fingerprint)
            ? u"%1 is trusted from now on with the certificate %2"_s.arg(host, fingerprint)
            : QString();
    judgeUnknown(fingerprint, errors);
    return {};
}

} // namespace OrvaneClient
