#pragma once

#include <QLatin1String>
#include <QString>

#include <optional>

class QAbstractSocket;
class QJsonObject;

namespace OrvaneInterface {

/**
 * What one client does, for the category "orvane.audit": a line of JSON, in ASCII alone, for each of the operations.
 * No text of a client can end the line, or hide a part of it.
 *
 * The category is off unless the host switches on its information level. A line may run code of the host, as any other.
 */
class AuditTrail {
public:
    /// Whether there are lines: ask before putting together what is only for one of them.
    static bool isOn();

    /// \a peer: as peerOf() gives it
    explicit AuditTrail(QString peer);

    /// From now on each line names the account. A login with the system account is the last one.
    void setAccount(const QString& name) { account = name; }

    void writeConnected() const;
    void writeHandshakeFailed(const QString& reason) const;
    void writeLogin(const QString& user, bool isValid);
    void writeCommandBeforeLogin(const QString& name);
    void writeCommand(const QString& name, QLatin1String outcome, qint64 nanoseconds) const;
    void writeRefusedDocument(const QString& commandName, QLatin1String reason);
    void writeExceededLimit(QLatin1String limit) const;
    void writeDisconnected(const QString& reason) const;

private:
    void write(QLatin1String event, QJsonObject line) const;
    bool takesFromClient();

    QString peer;
    std::optional<QString> account; ///< null before the login
    int entriesBeforeLogin = 0; ///< of what the client has sent, or that would have been written of it
};

/// Address and port, such as "192.0.2.7:50123" or "[2001:db8::7]:50123". Of a client: while it is connected; later its
/// socket has it as the name of the object.
QString peerOf(const QAbstractSocket& socket);

} // namespace OrvaneInterface
