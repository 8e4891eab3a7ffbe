#include "CommandCatalogue.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

constexpr CommandKey Recorder {"recorder"_L1, ValueKind::Text, "name of the recorder (default: empty)"_L1};
constexpr CommandKey SplitId {"splitid"_L1, ValueKind::Number, "split to use (default: -1, none given)"_L1};
constexpr CommandKey Camera {"camera"_L1, ValueKind::Number, "number of the camera (default: -1, none given)"_L1};
constexpr CommandKey Alarm {"alarm"_L1, ValueKind::Number, "not 0: show it as an alarm (default: 0)"_L1};
constexpr CommandKey CommandTag {
    "commandtag"_L1, ValueKind::Text, "text of yours that comes back in the answer (default: none)"_L1};

std::vector<KnownCommand> makeKnownCommands()
{
    const QLatin1String accepted("commandAccepted");
    return {
        {LoginCommand, "log in; a host never answers it"_L1, AnswerKind::Never, {},
            {{"username"_L1, ValueKind::Text, "the account (default: empty)"_L1},
                {"password"_L1, ValueKind::Text, "its password (default: empty)"_L1}}},
        {"updateRecorderContents"_L1, "refresh the recorder list; answered by a notice when it is done"_L1,
            AnswerKind::LaterNotice, RefreshFinishedNotice, {}},
        {"getRecorderList"_L1, "list the recorders with their tracks"_L1, AnswerKind::AtOnce, RecorderList, {}},
        {"getPresetsList"_L1, "list the presets"_L1, AnswerKind::AtOnce, PresetsList, {}},
        {"showLive"_L1, "show the live picture of a camera in a split"_L1, AnswerKind::AtOnce, accepted,
            {Recorder, SplitId, Camera, Alarm, CommandTag}},
        {"showTrack"_L1, "play back a recorded track in a split"_L1, AnswerKind::AtOnce, accepted,
            {Recorder, {"trackid"_L1, ValueKind::Number, "id of the track; wins over its name"_L1},
                {"track"_L1, ValueKind::Text, "name of the track; one of the two is needed"_L1}, SplitId, Camera,
                {"time"_L1, ValueKind::Long, "where to start, in the host's unit (default: -1)"_L1},
                {"limitstart"_L1, ValueKind::Long, "begin of the range, in the host's unit (default: 0)"_L1},
                {"limitend"_L1, ValueKind::Long, "end of the range, in the host's unit (default: 0)"_L1}, Alarm,
                CommandTag}},
        {"setPreset"_L1, "apply a preset"_L1, AnswerKind::AtOnce, accepted,
            {{"presetname"_L1, ValueKind::Text, "name of the preset (default: empty)"_L1}}},
        {"setSplitMode"_L1, "change how a window is divided into splits"_L1, AnswerKind::AtOnce, accepted,
            {{"splitmode"_L1, ValueKind::Decimal,
                 "decimal number of the mode (default: -1); below 0 the host reads the whole document"_L1},
                {"windowid"_L1, ValueKind::Number, "window, used with a splitmode below 0 (default: -1)"_L1}},
            true},
        {"setDetailViews"_L1, "show exactly these detail views inside a split"_L1, AnswerKind::AtOnce, accepted,
            {SplitId}, false,
            {{"id"_L1, ValueKind::Decimal, "sub-split, 0 or more; a view without one ends the list"_L1},
                {"objectid"_L1, ValueKind::Long, "tracked object (default: 0, show the rectangle)"_L1},
                {"ltx"_L1, ValueKind::Float, "x of the rectangle's left-top corner (default: 0)"_L1},
                {"lty"_L1, ValueKind::Float, "y of the left-top corner (default: 0)"_L1},
                {"rbx"_L1, ValueKind::Float, "x of the right-bottom corner (default: 0)"_L1},
                {"rby"_L1, ValueKind::Float, "y of the right-bottom corner (default: 0)"_L1}}},
        {"showLiveAtSubsplit"_L1, "show the live picture of a camera in a sub-split"_L1, AnswerKind::AtOnce, accepted,
            {SplitId, {"subsplit"_L1, ValueKind::Number, "sub-split to use (default: -1, none given)"_L1}, Camera}},
        {"getPertinentInfo"_L1, "ask the host a question of its own; any keys, and the host may keep silent"_L1,
            AnswerKind::AtOnce, {}, {}, true},
    };
}

} // namespace

const std::vector<KnownCommand>& knownCommands()
{
    static const std::vector<KnownCommand> commands = makeKnownCommands();
    return commands;
}

const KnownCommand* findKnownCommand(const QString& name)
{
    const std::vector<KnownCommand>& commands = knownCommands();
    const auto found = std::find_if(
        commands.begin(), commands.end(), [&](const KnownCommand& command) { return command.name == name; });
    return found == commands.end() ? nullptr : &*found;
}

namespace {

QStringList commandNames()
{
    QStringList names;
    for (const KnownCommand& command : knownCommands())
        names.append(command.name);
    return names;
}

QStringList fieldsFor(const KnownCommand& command, const QString& group)
{
    const qsizetype start = group.lastIndexOf(QRegularExpression(u"[:,]"_s)) + 1;
    QStringList words;
    for (const CommandKey& field : command.groupFields)
        words.append(group.left(start) + field.name + u'=');
    return words;
}

QStringList keysFor(const KnownCommand& command, const QStringList& wordsBefore)
{
    QStringList words;
    for (const CommandKey& key : command.keys) {
        const QString word = key.name + u'=';
        if (wordsBefore.filter(QRegularExpression(u'^' + word)).isEmpty())
            words.append(word);
    }
    if (!command.groupFields.empty())
        words.append(DetailViewGroup + u':' + command.groupFields.front().name + u'=');
    return words;
}

/// A name as it stands in a line, where blanks and quotes have a backslash before them.
QString escapedForLine(const QString& value)
{
    static const QRegularExpression special(u"([\\s\\\\'\"])"_s);
    return QString(value).replace(special, u"\\\\1"_s);
}

QStringList valuesFor(const KnownCommand& command, const QString& word, const ValuesOfKey& valuesOf)
{
    const QString key = word.left(word.indexOf(u'='));
    const bool isKnown = std::any_of(
        command.keys.begin(), command.keys.end(), [&](const CommandKey& known) { return known.name == key; });
    QStringList words;
    if (isKnown) {
        for (const QString& value : valuesOf(key)) {
            if (value.contains(u'\n') || value.contains(u'\r')) // which a line cannot have
                continue;
            words.append(key + u'=' + escapedForLine(value));
        }
    }
    return words;
}

QStringList candidates(const QStringList& wordsBefore, const QString& word, const ValuesOfKey& valuesOf)
{
    if (wordsBefore.isEmpty())
        return commandNames() + QStringList {u"help"_s, u"quit"_s};
    if (wordsBefore.first() == "help"_L1)
        return commandNames();
    const KnownCommand* const command = findKnownCommand(wordsBefore.first());
    if (!command)
        return {};
    if (!command->groupFields.empty() && word.startsWith(DetailViewGroup + u':'))
        return fieldsFor(*command, word);
    return word.contains(u'=') ? valuesFor(*command, word, valuesOf) : keysFor(*command, wordsBefore);
}

/// Where the last word of a line begins that has a part behind its last blank, too.
qsizetype startOfWord(const QString& line)
{
    qsizetype start = 0;
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line[i] == u'\\')
            ++i;
        else if (line[i].isSpace())
            start = i + 1;
    }
    return start;
}

} // namespace

QStringList completionsOf(const QString& lineBefore, const QString& word, const ValuesOfKey& valuesOf)
{
    const qsizetype start = startOfWord(lineBefore);
    const QString wordBefore = lineBefore.mid(start);
    const QStringList wordsBefore = lineBefore.left(start).simplified().split(u' ', Qt::SkipEmptyParts);
    QStringList fitting;
    for (const QString& candidate : candidates(wordsBefore, wordBefore + word, valuesOf)) {
        if (candidate.startsWith(wordBefore + word))
            fitting.append(candidate.mid(wordBefore.size()));
    }
    return fitting;
}

} // namespace OrvaneClient
