#include "ControlServer.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>

namespace {

QString madeUpPassword()
{
    // Without characters that look alike.
    const QString alphabet = QStringLiteral("abcdefghjkmnpqrstuvwxyz23456789");
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
        this->user = QStringLiteral("operator");
    if (passwordMadeUp)
        password = madeUpPassword();
}

StartUpProblem keyPairProblem()
{
    const QString keyPath = QStringLiteral(":/Halden/Resources/hxkey.pem");
    const QString certificatePath = QStringLiteral(":/Halden/Resources/hxcert.pem");
    const QString remedy =
        QStringLiteral("Build the application with an RSA key and its certificate, both PEM, as Qt resources.");
    if (!QSslSocket::supportsSsl())
        return {QStringLiteral("Qt has no TLS here"), QStringLiteral("Install OpenSSL and the TLS plugin of Qt.")};
    if (QSslKey(resource(keyPath), QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey).isNull())
        return {QStringLiteral("No usable private key in %1").arg(keyPath), remedy};
    if (QSslCertificate(resource(certificatePath), QSsl::Pem).isNull())
        return {QStringLiteral("No readable certificate in %1").arg(certificatePath), remedy};
    return {};
}

StartUpProblem startListening(OrvaneInterface::OrvaneServer& server, quint16 port)
{
    server.startListeningForConnection();
    if (server.isListening())
        return {};
    return {QStringLiteral("Cannot listen on port %1: %2").arg(port).arg(server.errorString()),
        QStringLiteral("Close the program that uses the port, or start the wall with another one: --port NUMBER.")};
}
