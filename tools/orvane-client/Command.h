#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>
#include <QStringList>

#include <functional>
#include <utility>

namespace OrvaneClient {

constexpr QLatin1String LoginCommand("loginClient");
constexpr QLatin1String RefreshFinishedNotice("updateRecorderContentsFinished");
constexpr QLatin1String RecorderList("getRecorderListResponse");
constexpr QLatin1String PresetsList("getPresetsListResponse");

/// One command with its keys; without a name the commands of the protocol, one a line, and how parameters are written.
QString helpOn(const QString& command);

/// The values that the host has for a key, such as the names of its recorders; none for most keys.
using ValuesOfKey = std::function<QStringList(const QString& key)>;

/// What the last word of a line can become: a command, a key that the command does not have yet, a field of a group, or
/// a value. A key comes with its "=". \return the last word, and what can take its place
std::pair<QString, QStringList> completionOf(const QString& line, const ValuesOfKey& valuesOf);

/// One command, ready to be sent, and which message answers it. Others may come before that, such as the notice for an
/// earlier command.
struct CommandRequest {
    /// The answer is the command's own, or its notice, by the protocol.
    CommandRequest(QString name, QByteArray text);

    /// For the user: what is waited for.
    QString answerDescription() const;

    QString command; ///< local name of the root element; empty if the document has none that can be read
    QByteArray document; ///< without the end of message
    QString answerRoot; ///< local name of the answer's root element; empty: any answer but a notice
    bool awaitsNotice; ///< which comes some time after the command, and not in place of its answer
};

/**
 * The document for a command's name and its parameters. It is well-formed, whatever the values are, and plain ASCII if
 * a host would read it in pieces. Refuses what can be no document.
 *
 * A parameter is "key=value", an element; or a group "name:field=value,field=value", an element "name" with attributes,
 * collected with the others of its name in one element "names". In a group "\," is a comma and "\\" a backslash.
 */
CommandRequest requestFromWords(const QStringList& words, bool inAscii = false);

/// The same, but refuses also what the protocol does not have, unless \a isForced: a command, a key, a number that is
/// not one, a key twice. The host would ignore it or misread it.
CommandRequest checkedRequest(const QStringList& words, bool isForced);

/// A document that somebody else wrote, sent as it is: it may be anything but empty or more than one message.
CommandRequest requestFromDocument(const QByteArray& document, const QString& fileName);

} // namespace OrvaneClient
