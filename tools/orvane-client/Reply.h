#pragma once

#include "Command.h"
#include "Outcome.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QStringList>

namespace OrvaneClient {

/// Splits a byte stream into messages, wherever the reads end. Does not decode text.
class MessageCutter {
public:
    /// The messages that these bytes complete, without their terminators.
    QList<QByteArray> add(const QByteArray& bytes);

    /// The number of bytes of a message that has not ended.
    qsizetype incompleteLength() const { return buffer.size(); }

private:
    QByteArray buffer;
};

enum class ReplyFormat {
    Raw, ///< as received
    Indented, ///< one element per line
    Json, ///< one object per line
    Nothing,
};

/// One message of the host, and its content.
struct Reply {
    enum class Kind {
        Accepted,
        Rejected,
        Other, ///< a list, a notice, or the host's own answer
        NotXml,
        TooMuch, ///< too expensive to read for its length; printed, but not read
    };

    explicit Reply(const QByteArray& message);

    QJsonObject json() const;
    /// Text to print, including the last line end.
    QByteArray lines(bool isIndented) const;
    /// The names in a list, by the key that takes them, such as "recorder".
    QMap<QString, QStringList> names() const;

    QByteArray raw;
    Kind kind = Kind::NotXml;
    QString root; ///< local name of the root element
    QString command; ///< named by an acknowledgement
    QString reason; ///< why a command was rejected, or why the message is not well-formed
    bool isTextList = false; ///< a list that is not XML, as hosts do not escape names, but was read

private:
    void read(const QString& document);
    bool isList() const { return root == RecorderList || root == PresetsList; }

    QMap<QString, QString> texts; ///< of the root's children, by name
    QJsonArray entries; ///< of a list
};

/// The outcome if the message ends the request; otherwise nullopt.
std::optional<Outcome> judge(const Reply& reply, const CommandRequest& request);

} // namespace OrvaneClient
