#pragma once

#include <QByteArray>
#include <QString>

namespace OrvaneClient {

/// One message of the host, and what it says.
class Reply {
public:
    enum class Kind {
        Accepted,
        Rejected,
        Other, ///< a list, a notice, or an answer that the host wrote itself
        NotXml,
    };

    explicit Reply(QByteArray message);

    Kind kind() const { return replyKind; }
    /// Local name of the root element.
    const QString& rootName() const { return root; }
    /// The command that an acknowledgement names.
    const QString& commandName() const { return command; }
    /// Why a command was rejected, or what keeps the message from being XML.
    const QString& reason() const { return why; }

    const QByteArray& raw() const { return message; }
    /// The message with one element a line, indented; as it is when it is no XML.
    QByteArray indented() const;

private:
    void read();

    QByteArray message;
    Kind replyKind = Kind::Other;
    QString root;
    QString command;
    QString why;
};

} // namespace OrvaneClient
