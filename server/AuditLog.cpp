#include "AuditLog.h"

#include <QAbstractSocket>
#include <QDebug>
#include <QHostAddress>
#include <QJsonDocument>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestText = 200;

/// Nothing but printable ASCII characters; JSON has an escape for each other one.
QString asciiJson(const QJsonObject& object)
{
    constexpr char16_t lastPrintable = u'~';
    constexpr int digits = 4;
    constexpr int hexadecimal = 16;
    QString line;
    const auto json = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    for (const QChar character : json) {
        if (character <= lastPrintable)
            line += character;
        else
            line += u"\\u%1"_s.arg(ushort {character.unicode()}, digits, hexadecimal, QChar(u'0'));
    }
    return line;
}

} // namespace

const QLoggingCategory& auditLog()
{
    static const QLoggingCategory category("orvane.audit", QtWarningMsg);
    return category;
}

void writeAuditLine(const QJsonObject& entry)
{
    qCInfo(auditLog).noquote() << asciiJson(entry);
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

QString forAudit(const QString& clientText)
{
    if (clientText.size() <= LongestText)
        return clientText;
    // Half a character would be no Unicode any more.
    const bool cutsCharacter = clientText.at(LongestText - 1).isHighSurrogate();
    return clientText.first(cutsCharacter ? LongestText - 1 : LongestText) + u"..."_s;
}

} // namespace OrvaneInterface
