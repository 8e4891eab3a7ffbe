#include "AuditTrail.h"

#include <QAbstractSocket>
#include <QDebug>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

#include <utility>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestText = 200;

/// Of what a client sends before it has logged in. Only its connections make the trail longer, not its messages.
constexpr int MostEntriesBeforeLogin = 10;

const QLoggingCategory& auditLog()
{
    static const QLoggingCategory category("orvane.audit", QtWarningMsg);
    return category;
}

/// Nothing but printable ASCII characters; JSON has an escape for each other one.
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

/// Cut where it is longer than what one wants to read in a log.
QString shortened(const QString& clientText)
{
    if (clientText.size() <= LongestText)
        return clientText;
    // Half a character would be no Unicode any more.
    const bool cutsCharacter = clientText.at(LongestText - 1).isHighSurrogate();
    return clientText.first(cutsCharacter ? LongestText - 1 : LongestText) + u"..."_s;
}

} // namespace

bool AuditTrail::isOn()
{
    return auditLog().isInfoEnabled();
}

AuditTrail::AuditTrail(QString peer)
    : peer(std::move(peer))
{
}

void AuditTrail::writeConnected() const
{
    if (isOn())
        write("connected"_L1, {});
}

void AuditTrail::writeHandshakeFailed(const QString& reason) const
{
    if (isOn())
        write("handshakeFailed"_L1, {{"reason"_L1, reason}});
}

void AuditTrail::writeLogin(const QString& user, bool isValid)
{
    if (takesFromClient())
        write(isValid ? "login"_L1 : "invalidLogin"_L1, {{"user"_L1, shortened(user)}});
}

void AuditTrail::writeCommandBeforeLogin(const QString& name)
{
    if (takesFromClient())
        write("command"_L1, {{"command"_L1, shortened(name)}, {"outcome"_L1, "not logged in"_L1}});
}

void AuditTrail::writeCommand(const QString& name, QLatin1String outcome, qint64 nanoseconds) const
{
    if (isOn())
        write("command"_L1,
            {{"command"_L1, shortened(name)}, {"microseconds"_L1, nanoseconds / 1000}, {"outcome"_L1, outcome}});
}

void AuditTrail::writeRefusedDocument(const QString& commandName, QLatin1String reason)
{
    if (takesFromClient())
        write("refusedDocument"_L1, {{"command"_L1, shortened(commandName)}, {"reason"_L1, reason}});
}

void AuditTrail::writeExceededLimit(QLatin1String limit) const
{
    if (isOn())
        write("exceededLimit"_L1, {{"limit"_L1, limit}});
}

void AuditTrail::writeDisconnected(const QString& reason) const
{
    if (!isOn())
        return;
    QJsonObject line {{"reason"_L1, reason}};
    if (entriesBeforeLogin > MostEntriesBeforeLogin)
        line["notWritten"_L1] = entriesBeforeLogin - MostEntriesBeforeLogin;
    write("disconnected"_L1, std::move(line));
}

void AuditTrail::write(QLatin1String event, QJsonObject line) const
{
    line["event"_L1] = event;
    line["peer"_L1] = peer;
    if (account)
        line["account"_L1] = *account;
    qCInfo(auditLog).noquote() << asciiJson(line);
}

/// Whether what the client has just sent is written; how many did not stands in its last line.
bool AuditTrail::takesFromClient()
{
    return isOn() && (account || ++entriesBeforeLogin <= MostEntriesBeforeLogin);
}

QString peerOf(const QAbstractSocket& socket)
{
    const QHostAddress address = socket.peerAddress();
    if (address.isNull()) // the client was gone before it was accepted
        return u"unknown"_s;
    bool isIpv4 = false; // also where the server listens at an address of IPv6
    const QHostAddress ipv4(address.toIPv4Address(&isIpv4));
    const QString host = isIpv4 ? ipv4.toString() : u'[' + address.toString() + u']';
    return host + u':' + QString::number(socket.peerPort());
}

} // namespace OrvaneInterface
