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

/// Help on one command and its keys; if \a command is empty, on all commands of the protocol.
QString helpOn(const QString& command);

/// The host's values for a key, such as the names of its recorders; none for most keys.
using ValuesOfKey = std::function<QStringList(const QString& key)>;

/// Completes the last word of a line to a command, a key not yet in the line, a field of a group, or a value. Keys end
/// in "=". \return the last word and its possible replacements
std::pair<QString, QStringList> completionOf(const QString& line, const ValuesOfKey& valuesOf);

/// A command ready to be sent, and how to recognise its answer. Other messages may come first, such as the notice of an
/// earlier command.
struct CommandRequest {
    /// Expects the answer that the protocol defines: the command's own, or its notice.
    CommandRequest(QString name, QByteArray text);

    /// What is awaited, for messages to the user.
    QString answerDescription() const;

    QString command; ///< local name of the root element; empty if it cannot be read
    QByteArray document; ///< without the message terminator
    QString answerRoot; ///< local name of the answer's root element; empty: any answer but a notice
    bool awaitsNotice; ///< a notice may come long after the host has processed the command
};

/**
 * The document for a command and its parameters. It is well-formed for any values, and plain ASCII if a host would read
 * it in pieces. Refuses what cannot become a document.
 *
 * "key=value" becomes an element. A group "name:field=value,field=value" becomes an element "name" with attributes; all
 * groups of a name are in one element "names". In a group "\," is a comma and "\\" a backslash.
 */
CommandRequest requestFromWords(const QStringList& words, bool inAscii = false);

/// The same. Unless \a isForced, also refuses unknown commands and keys, invalid numbers and duplicate keys, which the
/// host would ignore or misread.
CommandRequest checkedRequest(const QStringList& words, bool isForced);

/// A document from elsewhere, sent as it is. Refuses it only if it is empty or more than one message.
CommandRequest requestFromDocument(const QByteArray& document, const QString& fileName);

} // namespace OrvaneClient
