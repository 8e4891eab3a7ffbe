#include "ControlServer.h"

#include <QRandomGenerator>

#include <chrono>

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

StartUpProblem startServing(OrvaneInterface::OrvaneServer& server, quint16 port)
{
    if (const QString error = server.sslErrorString(); !error.isEmpty())
        return {error, u"Build the application with an RSA key and its certificate, both PEM, as Qt resources."_s};
    server.setLimits(OrvaneInterface::OrvaneLimits::controlRoom());
    server.startListeningForConnection();
    if (server.isListening())
        return {};
    return {u"Cannot listen on port %1: %2"_s.arg(port).arg(server.errorString()),
        u"Close the program that uses the port, or choose another port: --port NUMBER."_s};
}
