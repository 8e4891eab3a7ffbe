#include "AuditTrail.h"

#include <QDebug>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

#include <array>
#include <chrono>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

using Type = OrvaneClientEvent::Type;

/// For what a client sends before its login. Only its connections lengthen the trail then, not its messages.
constexpr int MostEntriesBeforeLogin = 10;

const QLoggingCategory& auditLog()
{
    static const QLoggingCategory category("orvane.audit", QtWarningMsg);
    return category;
}

/// Only printable ASCII characters; JSON has an escape for every other one.
QString asciiJson(const QJsonObject& object)
{
    constexpr char16_t lastPrintable = u'~';
    QString line;
    const auto json = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    for (const QChar character : json) {
        if (character <= lastPrintable)
            line += character;
        else
            line += QString::asprintf("\\u%04x", unsigned {character.unicode()});
    }
    return line;
}

QLatin1String nameOf(Type type)
{
    static constexpr std::array names {"connected"_L1, "encrypted"_L1, "handshakeFailed"_L1, "login"_L1,
        "invalidLogin"_L1, "command"_L1, "refusedDocument"_L1, "exceededLimit"_L1, "disconnected"_L1};
    return names.at(static_cast<size_t>(type));
}

QJsonObject detailsOfCommand(const OrvaneClientEvent& event)
{
    static constexpr std::array outcomes {
        "no reply"_L1, "answered"_L1, "accepted"_L1, "rejected"_L1, "not logged in"_L1};
    QJsonObject line {
        {"command"_L1, shortened(event.command)}, {"outcome"_L1, outcomes.at(static_cast<size_t>(event.outcome))}};
    if (event.outcome != OrvaneClientEvent::Outcome::NotLoggedIn)
        line["microseconds"_L1] = qint64 {event.duration / 1us};
    QJsonObject parameters;
    for (auto each = event.parameters.cbegin(); each != event.parameters.cend(); ++each)
        parameters[each.key()] = each.value();
    if (!parameters.isEmpty())
        line["parameters"_L1] = parameters;
    if (event.split)
        line["split"_L1] = *event.split;
    return line;
}

/// The members that only events of this type have.
QJsonObject detailsOf(const OrvaneClientEvent& event)
{
    switch (event.type) {
    case Type::Connected:
    case Type::Encrypted:
        return {};
    case Type::LoggedIn:
    case Type::InvalidLogin:
        return {{"user"_L1, shortened(event.user)}};
    case Type::Command:
        return detailsOfCommand(event);
    case Type::RefusedDocument:
        return {{"command"_L1, shortened(event.command)}, {"reason"_L1, event.reason}};
    case Type::ExceededLimit:
        return {{"limit"_L1, event.reason}};
    case Type::HandshakeFailed:
    case Type::Disconnected:
        return {{"reason"_L1, event.reason}};
    }
    return {};
}

} // namespace

bool AuditTrail::isOn()
{
    return auditLog().isInfoEnabled();
}

void AuditTrail::write(const OrvaneClientEvent& event)
{
    if (!isOn() || event.type == Type::Encrypted || isLeftOut(event))
        return;
    QJsonObject line = detailsOf(event);
    if (event.type == Type::Disconnected && entriesBeforeLogin > MostEntriesBeforeLogin)
        line["notWritten"_L1] = entriesBeforeLogin - MostEntriesBeforeLogin;
    line["event"_L1] = nameOf(event.type);
    line["peer"_L1] = peerOf(event.client);
    if (event.client.account() != OrvaneClient::Account::None)
        line["account"_L1] = event.client.accountName();
    qCInfo(auditLog).noquote() << asciiJson(line);
}

bool AuditTrail::isLeftOut(const OrvaneClientEvent& event)
{
    const bool isSaid =
        event.type == Type::InvalidLogin || event.type == Type::Command || event.type == Type::RefusedDocument;
    const bool isBeforeLogin = event.client.account() == OrvaneClient::Account::None;
    return isSaid && isBeforeLogin && ++entriesBeforeLogin > MostEntriesBeforeLogin;
}

QString shortened(const QString& clientText)
{
    if (clientText.size() <= LongestText)
        return clientText;
    // Half a surrogate pair would not be valid Unicode.
    const bool cutsCharacter = clientText.at(LongestText - 1).isHighSurrogate();
    return clientText.first(cutsCharacter ? LongestText - 1 : LongestText) + u"..."_s;
}

QString peerOf(const OrvaneClient& client)
{
    const QHostAddress address = client.address();
    if (address.isNull()) // the client left before it was accepted
        return u"unknown"_s;
    const bool isIpv4 = address.protocol() == QAbstractSocket::IPv4Protocol;
    const QString host = isIpv4 ? address.toString() : u'[' + address.toString() + u']';
    return host + u':' + QString::number(client.port());
}

} // namespace OrvaneInterface
