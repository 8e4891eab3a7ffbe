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
    QLatin1String meaning; ///< with the default that the host takes when the key is absent
};

enum class AnswerKind {
    Never,
    AtOnce,
    LaterNotice, ///< nothing at once when all is well, a notice when the host has finished
};

struct KnownCommand {
    QLatin1String name;
    QLatin1String purpose;
    AnswerKind answer;
    QLatin1String answerRoot; ///< local name of the answer's root element; empty: the host chooses it
    std::vector<CommandKey> keys;
    bool takesOthers = false; ///< keys and groups that the host knows, besides these
    std::vector<CommandKey> groupFields = {}; ///< fields of the repeated group, where the command has one
};

constexpr QLatin1String LoginCommand("loginClient");
constexpr QLatin1String RefreshFinishedNotice("updateRecorderContentsFinished");
constexpr QLatin1String RecorderList("getRecorderListResponse");
constexpr QLatin1String PresetsList("getPresetsListResponse");
/// The one group that the commands know: the detail views of setDetailViews.
constexpr QLatin1String DetailViewGroup("subsplit");

/// The protocol's commands, in the order of the help. The help and the completion are made from this table.
const std::vector<KnownCommand>& knownCommands();

/// Null for a name that the protocol does not have; such a command can be sent all the same.
const KnownCommand* findKnownCommand(const QString& name);

/// The names that a host has for a key, such as those of its recorders for "recorder"; none for most keys.
using ValuesOfKey = std::function<QStringList(const QString& key)>;

/// What the last word of a line can become: a command, a key that the command does not have yet, a group's field, or a
/// value that the host has. A key comes with its "=", ready for the value. \a word begins behind the last blank, also
/// where that is a part of a value.
QStringList completionsOf(const QString& lineBefore, const QString& word, const ValuesOfKey& valuesOf);

} // namespace OrvaneClient
