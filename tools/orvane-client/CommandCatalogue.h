#pragma once

#include <QLatin1String>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

namespace OrvaneClient {

/// How a host reads a value.
enum class ValueKind {
    Text,
    Number, ///< of 32 bits, decimal or hexadecimal
    Decimal, ///< of 32 bits
    Long, ///< decimal, of 64 bits
    Float,
};

/// A parameter of a command, as the client writes it.
struct CommandKey {
    QLatin1String name;
    ValueKind kind;
    QLatin1String meaning; ///< with the default that the host takes if the key is absent
};

struct KnownCommand {
    QLatin1String name;
    QLatin1String purpose;
    QLatin1String answerRoot; ///< local name of the answer's root element; empty: the host chooses it
    std::vector<CommandKey> keys = {};
    bool takesOthers = false; ///< keys and groups that the host knows, besides these
    std::vector<CommandKey> groupFields = {}; ///< of the repeated group, if the command has one
};

constexpr QLatin1String LoginCommand("loginClient");
constexpr QLatin1String RefreshFinishedNotice("updateRecorderContentsFinished");
constexpr QLatin1String RecorderList("getRecorderListResponse");
constexpr QLatin1String PresetsList("getPresetsListResponse");

/// The protocol's commands. Help, completion and checks are made from this table.
const std::vector<KnownCommand>& knownCommands();

/// Null for a name that the protocol does not have.
const KnownCommand* findKnownCommand(const QString& name);

/// Whether the word of a parameter is a group: it has a colon, and no "=" before it.
bool isGroup(const QString& word);

/// The fields of a group: the parts between the commas that have no backslash before them.
QStringList groupParts(const QString& text);

/// What is wrong with the words of a command, by the protocol: a command, a key or a field that it does not have, a
/// number that is not one, a key twice. The host would ignore it or misread it. Empty if nothing is wrong.
QString commandFault(const QStringList& words);

/// One command with its keys, for the user.
QString textOf(const KnownCommand& command);

/// The values that the host has for a key, such as the names of its recorders; none for most keys.
using ValuesOfKey = std::function<QStringList(const QString& key)>;

struct Completion {
    qsizetype start; ///< of the last word
    QStringList words; ///< that can take its place; a key comes with its "="
};

/// What the last word of a line can become: a command, a key that the command does not have yet, a field of a group, or
/// a value.
Completion completionOf(const QString& line, const ValuesOfKey& valuesOf);

} // namespace OrvaneClient
