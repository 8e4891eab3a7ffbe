#include "ControlServer.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>

using namespace Qt::StringLiterals;

namespace {

QString madeUpPassword()
{
    // Without characters that look alike.
    const QString alphabet = u"abcdefghjkmnpqrstuvwxyz23456789"_s;
    constexpr int length = 12;
    QString password;
    for (int index = 0; index < length; ++index)
        password += alphabet.at(QRandomGenerator::system()->bounded(static_cast<int>(alphabet.size())));
    return password;
}

QByteArray resource(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

ControlAccount::ControlAccount(const QString& user)
    : user(user.isEmpty() ? qEnvironmentVariable("ORVANE_USER") : user)
    , password(qEnvironmentVariable("ORVANE_PASSWORD"))
    , passwordMadeUp(password.isEmpty())
{
    if (this->user.isEmpty())
        this->user = u"operator"_s;
    if (passwordMadeUp)
        password = madeUpPassword();
}

StartUpProblem keyPairProblem()
{
    const QString keyPath = u":/Halden/Resources/hxkey.pem"_s;
    const QString certificatePath = u":/Halden/Resources/hxcert.pem"_s;
    const QString remedy = u"Build the application with an RSA key and its certificate, both PEM, as Qt resources."_s;
    if (!QSslSocket::supportsSsl())
        return {u"Qt has no TLS here"_s, u"Install OpenSSL and the TLS plugin of Qt."_s};
    if (QSslKey(resource(keyPath), QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey).isNull())
        return {u"No usable private key in %1"_s.arg(keyPath), remedy};
    if (QSslCertificate(resource(certificatePath), QSsl::Pem).isNull())
        return {u"No readable certificate in %1"_s.arg(certificatePath), remedy};
    return {};
}

StartUpProblem startListening(OrvaneInterface::OrvaneServer& server, quint16 port)
{
    server.startListeningForConnection();
    if (server.isListening())
        return {};
    return {u"Cannot listen on port %1: %2"_s.arg(port).arg(server.errorString()),
        u"Close the program that uses the port, or start the wall with another one: --port NUMBER."_s};
}
