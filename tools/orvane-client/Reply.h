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

/// Cuts a byte stream into messages, wherever the reads end. Knows no text encoding.
class MessageCutter {
public:
    /// The messages that these bytes complete, without their terminators.
    QList<QByteArray> add(const QByteArray& bytes);

    /// How many bytes wait for the end of their message.
    qsizetype incompleteLength() const { return buffer.size(); }

private:
    QByteArray buffer;
};

enum class ReplyFormat {
    Raw, ///< as it came
    Indented, ///< one element a line
    Json, ///< one object a line
    Nothing,
};

/// One message of the host, and what it says.
struct Reply {
    enum class Kind {
        Accepted,
        Rejected,
        Other, ///< a list, a notice, or an answer that the host wrote itself
        NotXml,
        TooMuch, ///< reading it would cost far more than its length; it is printed, but not read
    };

    explicit Reply(const QByteArray& message);

    QJsonObject json() const;
    /// To print, the last line end included.
    QByteArray lines(bool isIndented) const;
    /// The names that a list has for the values of keys, such as those of the recorders for "recorder".
    QMap<QString, QStringList> names() const;

    QByteArray raw;
    Kind kind = Kind::NotXml;
    QString root; ///< local name of the root element
    QString command; ///< that an acknowledgement names
    QString reason; ///< why a command was rejected, or why the message is not well-formed
    bool isTextList = false; ///< a list that is not XML but can be read: hosts do not escape the names in them

private:
    void read(const QString& document);
    bool isList() const { return root == RecorderList || root == PresetsList; }

    QMap<QString, QString> texts; ///< of the elements in the root, by their names
    QJsonArray entries; ///< of a list
};

/// How a message ends the request; nothing if it does not.
std::optional<Outcome> judge(const Reply& reply, const CommandRequest& request);

} // namespace OrvaneClient
