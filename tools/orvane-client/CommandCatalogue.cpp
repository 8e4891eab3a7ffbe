#include "CommandCatalogue.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

bool isGroup(const QString& word)
{
    return word.section(u'=', 0, 0).contains(u':');
}

QStringList groupParts(const QString& text)
{
    QStringList parts(QString {});
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == u'\\' && i + 1 < text.size() && (text[i + 1] == u',' || text[i + 1] == u'\\');
        if (isEscape)
            parts.last() += text[++i];
        else if (text[i] == u',')
            parts.append(QString());
        else
            parts.last() += text[i];
    }
    return parts;
}

namespace {

/// The one group that the commands have: the detail views of setDetailViews.
constexpr QLatin1String DetailViewGroup("subsplit");

constexpr CommandKey Recorder {"recorder"_L1, ValueKind::Text, "name of the recorder (default: empty)"_L1};
constexpr CommandKey SplitId {"splitid"_L1, ValueKind::Number, "split to use (default: -1, none given)"_L1};
constexpr CommandKey Camera {"camera"_L1, ValueKind::Number, "number of the camera (default: -1, none given)"_L1};
constexpr CommandKey Alarm {"alarm"_L1, ValueKind::Number, "not 0: show it as an alarm (default: 0)"_L1};
constexpr CommandKey Tag {"commandtag"_L1, ValueKind::Text, "text that comes back in the answer (default: none)"_L1};
constexpr QLatin1String Accepted("commandAccepted");

std::vector<KnownCommand> makeKnownCommands()
{
    return {
        {LoginCommand, "log in with another account"_L1, {},
            {{"username"_L1, ValueKind::Text, "the account (default: empty)"_L1},
                {"password"_L1, ValueKind::Text, "its password (default: empty)"_L1}}},
        {"updateRecorderContents"_L1, "refresh the recorder list; answered by a notice when it is done"_L1,
            RefreshFinishedNotice},
        {"getRecorderList"_L1, "list the recorders with their tracks"_L1, RecorderList},
        {"getPresetsList"_L1, "list the presets"_L1, PresetsList},
        {"showLive"_L1, "show the live picture of a camera in a split"_L1, Accepted,
            {Recorder, SplitId, Camera, Alarm, Tag}},
        {"showTrack"_L1, "play back a recorded track in a split"_L1, Accepted,
            {Recorder, {"trackid"_L1, ValueKind::Number, "id of the track; wins over its name"_L1},
                {"track"_L1, ValueKind::Text, "name of the track; one of the two is needed"_L1}, SplitId, Camera,
                {"time"_L1, ValueKind::Long, "where to start, in the host's unit (default: -1)"_L1},
                {"limitstart"_L1, ValueKind::Long, "begin of the range, in the host's unit (default: 0)"_L1},
                {"limitend"_L1, ValueKind::Long, "end of the range, in the host's unit (default: 0)"_L1}, Alarm, Tag}},
        {"setPreset"_L1, "apply a preset"_L1, Accepted,
            {{"presetname"_L1, ValueKind::Text, "name of the preset (default: empty)"_L1}}},
        {"setSplitMode"_L1, "change how a window is divided into splits"_L1, Accepted,
            {{"splitmode"_L1, ValueKind::Decimal,
                 "decimal number of the mode (default: -1); below 0 the host reads the whole document"_L1},
                {"windowid"_L1, ValueKind::Number, "window, used with a splitmode below 0 (default: -1)"_L1}},
            true},
        {"setDetailViews"_L1, "show exactly these detail views inside a split"_L1, Accepted, {SplitId}, false,
            {{"id"_L1, ValueKind::Decimal, "sub-split, 0 or more; a view without one ends the list"_L1},
                {"objectid"_L1, ValueKind::Long, "tracked object (default: 0, show the rectangle)"_L1},
                {"ltx"_L1, ValueKind::Float, "x of the rectangle's left-top corner (default: 0)"_L1},
                {"lty"_L1, ValueKind::Float, "y of the left-top corner (default: 0)"_L1},
                {"rbx"_L1, ValueKind::Float, "x of the right-bottom corner (default: 0)"_L1},
                {"rby"_L1, ValueKind::Float, "y of the right-bottom corner (default: 0)"_L1}}},
        {"showLiveAtSubsplit"_L1, "show the live picture of a camera in a sub-split"_L1, Accepted,
            {SplitId, {"subsplit"_L1, ValueKind::Number, "sub-split to use (default: -1, none given)"_L1}, Camera}},
        {"getPertinentInfo"_L1, "ask the host a question of its own; any keys, and the host may keep silent"_L1, {}, {},
            true},
    };
}

const CommandKey* findKey(const std::vector<CommandKey>& keys, const QString& name)
{
    const auto found = std::find_if(keys.begin(), keys.end(), [&](const CommandKey& key) { return key.name == name; });
    return found == keys.end() ? nullptr : &*found;
}

/// As the host reads numbers: with white space around them, and hexadecimal ones with a small x.
bool isValue(const QString& text, ValueKind kind)
{
    bool isNumber = true;
    const QString number = text.trimmed();
    if (kind == ValueKind::Number && text.startsWith("0x"_L1))
        static_cast<void>(number.mid(2).toUInt(&isNumber, 16));
    else if (kind == ValueKind::Number || kind == ValueKind::Decimal)
        static_cast<void>(number.toInt(&isNumber));
    else if (kind == ValueKind::Long)
        static_cast<void>(number.toLongLong(&isNumber));
    else if (kind == ValueKind::Float) // the host takes what is too large for infinite
        isNumber = !std::isnan(number.toDouble(&isNumber)) && isNumber;
    return isNumber;
}

/// What is wrong with key=value. \a what: what these keys are called; null if others are allowed as well.
QString keyFault(const QString& word, const std::vector<CommandKey>& keys, const QString& what)
{
    const QString name = word.section(u'=', 0, 0);
    const QString value = word.section(u'=', 1);
    const CommandKey* const key = findKey(keys, name);
    if (!key)
        return what.isNull() ? QString() : u"\"%1\" is no %2"_s.arg(name, what);
    return isValue(value, key->kind) ? QString() : u"\"%1\" is no number for \"%2\""_s.arg(value, name);
}

QString groupFault(const QString& word, const KnownCommand& command)
{
    const QString group = word.section(u':', 0, 0);
    if (command.groupFields.empty() || group != DetailViewGroup)
        return u"\"%1\" is no group of %2"_s.arg(group, command.name);
    for (const QString& field : groupParts(word.section(u':', 1))) {
        QString fault = keyFault(field, command.groupFields, u"field of a %1"_s.arg(DetailViewGroup));
        if (!fault.isEmpty())
            return fault;
    }
    return {};
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

QString commandFault(const QStringList& words)
{
    const KnownCommand* const command = findKnownCommand(words.value(0));
    if (!command)
        return u"the protocol has no command \"%1\""_s.arg(words.value(0));
    const QString what = command->takesOthers ? QString() : u"key of %1"_s.arg(command->name);
    QStringList seen;
    for (const QString& word : words.mid(1)) {
        const QString key = word.section(u'=', 0, 0);
        QString fault = !isGroup(word) ? keyFault(word, command->keys, what)
            : command->takesOthers     ? QString()
                                       : groupFault(word, *command);
        if (fault.isEmpty() && seen.contains(key) && findKey(command->keys, key))
            fault = u"the key \"%1\" stands twice, and the host takes the first one"_s.arg(key);
        if (!fault.isEmpty())
            return fault;
        seen.append(key);
    }
    return {};
}

QString textOf(const KnownCommand& command)
{
    QString text;
    const auto addRow = [&text](int indent, QLatin1String name, QLatin1String meaning) {
        constexpr int width = 25;
        text += QString(indent, u' ') + QString(name).leftJustified(width - indent) + meaning + u'\n';
    };
    addRow(2, command.name, command.purpose);
    for (const CommandKey& key : command.keys)
        addRow(6, key.name, key.meaning);
    if (!command.groupFields.empty())
        addRow(6, "subsplit:..."_L1, "a detail view; repeat it for more. Its fields:"_L1);
    for (const CommandKey& field : command.groupFields)
        addRow(8, field.name, field.meaning);
    return text;
}

namespace {

/// Values with what a line needs before blanks and quotes.
QStringList valuesFor(const QString& key, const ValuesOfKey& valuesOf)
{
    static const QRegularExpression special(u"([\\s\\\\'\"])"_s);
    QStringList words;
    for (const QString& value : valuesOf(key)) {
        if (!value.contains(u'\n') && !value.contains(u'\r')) // a line cannot hold them
            words.append(key + u'=' + QString(value).replace(special, u"\\\\1"_s));
    }
    return words;
}

QStringList candidates(const QStringList& wordsBefore, const QString& word, const ValuesOfKey& valuesOf)
{
    QStringList words;
    if (wordsBefore.isEmpty() || wordsBefore.first() == "help"_L1) {
        for (const KnownCommand& command : knownCommands())
            words.append(command.name);
        return wordsBefore.isEmpty() ? words + QStringList {u"help"_s, u"quit"_s} : words;
    }
    const KnownCommand* const command = findKnownCommand(wordsBefore.first());
    if (!command)
        return {};
    if (!command->groupFields.empty() && word.startsWith(DetailViewGroup + u':')) {
        const QString start = word.left(word.lastIndexOf(QRegularExpression(u"[:,]"_s)) + 1);
        for (const CommandKey& field : command->groupFields)
            words.append(start + field.name + u'=');
        return words;
    }
    const QString key = word.section(u'=', 0, 0);
    if (word.contains(u'='))
        return findKey(command->keys, key) ? valuesFor(key, valuesOf) : QStringList();
    for (const CommandKey& known : command->keys) {
        if (wordsBefore.filter(QRegularExpression(u"^%1="_s.arg(known.name))).isEmpty())
            words.append(known.name + u'=');
    }
    if (!command->groupFields.empty())
        words.append(DetailViewGroup + u':' + command->groupFields.front().name + u'=');
    return words;
}

} // namespace

Completion completionOf(const QString& line, const ValuesOfKey& valuesOf)
{
    qsizetype start = 0;
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line[i] == u'\\')
            ++i;
        else if (line[i].isSpace())
            start = i + 1;
    }
    const QString word = line.mid(start);
    QStringList words = candidates(line.left(start).simplified().split(u' ', Qt::SkipEmptyParts), word, valuesOf);
    words.removeIf([&](const QString& candidate) { return !candidate.startsWith(word); });
    return {start, words};
}

} // namespace OrvaneClient
