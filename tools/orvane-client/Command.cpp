#include "Command.h"

#include "Outcome.h"
#include "Protocol.h"

#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QXmlStreamReader>

#include <algorithm>
#include <array>
#include <cmath>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

constexpr QLatin1String DetailViewGroup("subsplit");

// The protocol's commands. Help, completion and checks are made from this table.
constexpr std::array Commands {
    KnownCommand {LoginCommand.data(), "", "username=text password=text", "log in with another account"},
    KnownCommand {"updateRecorderContents", RefreshFinishedNotice.data(), "",
        "refresh the recorder list; answered by a notice when it is done"},
    KnownCommand {"getRecorderList", RecorderList.data(), "", "list the recorders with their tracks"},
    KnownCommand {"getPresetsList", PresetsList.data(), "", "list the presets"},
    KnownCommand {"showLive", "commandAccepted",
        "recorder=text splitid=number camera=number alarm=number commandtag=text",
        "show the live picture of a camera in a split"},
    KnownCommand {"showTrack", "commandAccepted",
        "recorder=text trackid=number track=text splitid=number camera=number time=long limitstart=long limitend=long "
        "alarm=number commandtag=text",
        "play back a recorded track in a split"},
    KnownCommand {"setPreset", "commandAccepted", "presetname=text", "apply a preset"},
    KnownCommand {"setSplitMode", "commandAccepted", "splitmode=decimal windowid=number",
        "change how a window is divided into splits; takes other keys as well", "", true},
    KnownCommand {"setDetailViews", "commandAccepted", "splitid=number",
        "show exactly these detail views inside a split",
        "id=decimal objectid=long ltx=float lty=float rbx=float rby=float"},
    KnownCommand {"showLiveAtSubsplit", "commandAccepted", "splitid=number subsplit=number camera=number",
        "show the live picture of a camera in a sub-split"},
    KnownCommand {"getPertinentInfo", "", "", "ask the host a question of its own; takes any keys", "", true},
};

QStringList wordsIn(const char* text)
{
    return QString::fromLatin1(text).split(u' ', Qt::SkipEmptyParts);
}

/// The key of key=value.
QString keyOf(const QString& word)
{
    return word.section(u'=', 0, 0);
}

/// What one of the keys takes; null if it is none of them.
QString kindOf(const QString& key, const char* keys)
{
    return wordsIn(keys)
        .filter(QRegularExpression(u"^%1="_s.arg(QRegularExpression::escape(key))))
        .value(0)
        .section(u'=', 1);
}

bool isGroup(const QString& word)
{
    return keyOf(word).contains(u':');
}

/// The fields of a group: the parts between the commas that have no backslash before them.
QStringList groupParts(const QString& text)
{
    QStringList parts(QString {});
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == u'\\' && i + 1 < text.size() && (text[i + 1] == u',' || text[i + 1] == u'\\');
        if (text[i] == u',')
            parts.append(QString());
        else
            parts.last() += text[isEscape ? ++i : i];
    }
    return parts;
}

/// As the host reads numbers: with white space around them, and hexadecimal ones with a small x.
bool isValue(const QString& text, const QString& kind)
{
    bool isNumber = true;
    const QString number = text.trimmed();
    if (kind == "number"_L1 && text.startsWith("0x"_L1))
        static_cast<void>(number.mid(2).toUInt(&isNumber, 16));
    else if (kind == "number"_L1 || kind == "decimal"_L1)
        static_cast<void>(number.toInt(&isNumber));
    else if (kind == "long"_L1)
        static_cast<void>(number.toLongLong(&isNumber));
    else if (kind == "float"_L1) // the host takes what is too large for infinite
        isNumber = !std::isnan(number.toDouble(&isNumber)) && isNumber;
    return isNumber;
}

[[noreturn]] void refuseUnforced(const QString& fault)
{
    refuse(fault + u" (--force sends it all the same)"_s);
}

/// \a what: what these keys are called; null if others are allowed as well.
void checkKey(const QString& word, const char* keys, const QString& what)
{
    const QString value = word.section(u'=', 1);
    const QString kind = kindOf(keyOf(word), keys);
    if (kind.isEmpty() && !what.isNull())
        refuseUnforced(u"\"%1\" is no %2"_s.arg(keyOf(word), what));
    if (!isValue(value, kind))
        refuseUnforced(u"\"%1\" is no number for \"%2\""_s.arg(value, keyOf(word)));
}

void checkCommand(const QStringList& words)
{
    const KnownCommand* const command = findKnownCommand(words.value(0));
    if (!command)
        refuseUnforced(u"the protocol has no command \"%1\""_s.arg(words.value(0)));
    const QString name = QString::fromLatin1(command->name);
    QStringList seen;
    for (const QString& word : words.mid(1)) {
        const QString group = word.section(u':', 0, 0);
        if (!isGroup(word)) {
            checkKey(word, command->keys, command->takesOthers ? QString() : u"key of "_s + name);
            if (seen.contains(keyOf(word)) && !kindOf(keyOf(word), command->keys).isEmpty())
                refuseUnforced(u"the key \"%1\" stands twice, and the host takes the first one"_s.arg(keyOf(word)));
            seen.append(keyOf(word));
        } else if (!command->takesOthers) {
            if (group != DetailViewGroup || *command->groupFields == '\0')
                refuseUnforced(u"\"%1\" is no group of %2"_s.arg(group, name));
            for (const QString& field : groupParts(word.section(u':', 1)))
                checkKey(field, command->groupFields, u"field of a "_s + DetailViewGroup);
        }
    }
}

} // namespace

const KnownCommand* findKnownCommand(const QString& name)
{
    const auto* const found = std::find_if(Commands.begin(), Commands.end(),
        [&](const KnownCommand& command) { return name == QLatin1String(command.name); });
    return found == Commands.end() ? nullptr : found;
}

QString helpOn(const QString& command)
{
    const KnownCommand* const known = findKnownCommand(command);
    if (!known && !command.isEmpty())
        refuse(u"the protocol has no command \"%1\""_s.arg(command));
    QString text;
    for (const KnownCommand& each : Commands) {
        if (known && &each != known)
            continue;
        text += QString::fromLatin1(each.name).leftJustified(24) + QLatin1String(each.purpose) + u'\n';
        if (*each.keys != '\0')
            text += u"    "_s + QLatin1String(each.keys) + u'\n';
        if (*each.groupFields != '\0')
            text += u"    %1:%2\n"_s.arg(DetailViewGroup, wordsIn(each.groupFields).join(u','));
    }
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
    const KnownCommand* const command = findKnownCommand(wordsBefore.value(0));
    QStringList words;
    if (wordsBefore.isEmpty() || wordsBefore.first() == "help"_L1) {
        for (const KnownCommand& each : Commands)
            words.append(QString::fromLatin1(each.name));
        return wordsBefore.isEmpty() ? words + QStringList {u"help"_s, u"quit"_s} : words;
    }
    const bool hasGroup = command != nullptr && *command->groupFields != '\0';
    const bool isInGroup = hasGroup && word.startsWith(DetailViewGroup + u':');
    if (command && !isInGroup && word.contains(u'='))
        return kindOf(keyOf(word), command->keys).isEmpty() ? QStringList() : valuesFor(keyOf(word), valuesOf);
    const QString start = isInGroup ? word.left(word.lastIndexOf(QRegularExpression(u"[:,]"_s)) + 1) : QString();
    for (const QString& key : wordsIn(!command ? "" : isInGroup ? command->groupFields : command->keys)) {
        if (isInGroup || wordsBefore.filter(QRegularExpression(u"^%1="_s.arg(keyOf(key)))).isEmpty())
            words.append(start + keyOf(key) + u'=');
    }
    return hasGroup && !isInGroup ? words + QStringList(DetailViewGroup + ":id="_L1) : words;
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

namespace {

/// The text as element content or attribute value. Line ends become references: an empty line would end the message,
/// and a reader would turn the others into blanks or single line feeds.
QString escapedXml(const QString& key, const QString& text, bool inAscii)
{
    static const QRegularExpression impossible(u"[\\x00-\\x08\\x0B\\x0C\\x0E-\\x1F\\x{FFFE}\\x{FFFF}]"_s);
    if (text.contains(QChar::ReplacementCharacter)) // what is not UTF-8 has become this on the way in
        refuse(u"the value of \"%1\" is not UTF-8"_s.arg(key));
    if (const QString found = impossible.match(text).captured(); !found.isEmpty())
        refuse(u"the value of \"%1\" holds U+%2, which no XML document can hold"_s.arg(
            key, QString::number(found[0].unicode(), 16).toUpper().rightJustified(4, u'0')));
    QString escaped;
    for (const uint character : text.toHtmlEscaped().toUcs4()) {
        constexpr uint lastOfAscii = 0x7f;
        if (character < u' ' || (inAscii && character > lastOfAscii))
            escaped += u"&#%1;"_s.arg(character);
        else
            escaped += QChar::fromUcs4(character);
    }
    return escaped;
}

QString nameBefore(QChar mark, const QString& word, const QString& what)
{
    QString name = word.section(mark, 0, 0);
    if (!isXmlName(name))
        refuse(u"\"%1\" is no XML name and so no %2"_s.arg(name, what));
    return name;
}

/// The element of a group: "name:field=value,field=value".
QString groupElement(const QString& name, const QString& fields, bool inAscii)
{
    QString element = u'<' + name;
    QSet<QString> seen;
    for (const QString& field : groupParts(fields)) {
        if (!field.contains(u'='))
            refuse(u"\"%1\" in the group \"%2\" is no field: write field=value"_s.arg(field, name));
        const QString key = nameBefore(u'=', field, u"field"_s);
        if (seen.contains(key))
            refuse(u"the field \"%1\" stands twice in one group \"%2\""_s.arg(key, name));
        seen.insert(key);
        element += u" %1=\"%2\""_s.arg(key, escapedXml(key, field.section(u'=', 1), inAscii));
    }
    return element + "/>"_L1;
}

} // namespace

CommandRequest requestFromWords(const QStringList& words, bool inAscii)
{
    if (words.isEmpty())
        refuse(u"there is no command"_s);
    const QString command = nameBefore(u'\0', words.first(), u"command"_s);
    QMap<QString, QString> groups; // the elements of each name
    for (const QString& word : words.mid(1)) {
        if (!isGroup(word))
            continue;
        const QString name = nameBefore(u':', word, u"group"_s);
        groups[name] += groupElement(name, word.section(u':', 1), inAscii);
    }
    QString text;
    for (const QString& word : words.mid(1)) {
        const QString group = isGroup(word) ? word.section(u':', 0, 0) : QString();
        if (groups.contains(group))
            text += u"<%1s>%2</%1s>"_s.arg(group, groups.take(group));
        if (!group.isNull())
            continue;
        if (!word.contains(u'='))
            refuse(u"\"%1\" is no parameter: write key=value"_s.arg(word));
        const QString key = nameBefore(u'=', word, u"key"_s);
        text += u"<%1>%2</%1>"_s.arg(key, escapedXml(key, word.section(u'=', 1), inAscii));
    }
    const QByteArray document = u"<%1>%2</%1>"_s.arg(command, text).toUtf8();
    // A host reads pieces of this length, and decodes each by itself.
    constexpr qsizetype lengthOfPiece = 4096;
    const bool mayTear = document.size() + OrvaneInterface::MessageTerminator.size() > lengthOfPiece
        && text.toUtf8().size() != text.size();
    return mayTear && !inAscii ? requestFromWords(words, true) : CommandRequest {command, document};
}

CommandRequest checkedRequest(const QStringList& words, bool isForced)
{
    CommandRequest request = requestFromWords(words);
    if (!isForced)
        checkCommand(words);
    return request;
}

CommandRequest requestFromDocument(const QByteArray& document, const QString& fileName)
{
    const QByteArray trimmed = document.trimmed();
    if (trimmed.isEmpty())
        refuse(u"cannot send \"%1\": the document is empty"_s.arg(fileName));
    if (trimmed.contains(OrvaneInterface::MessageTerminator.data()))
        refuse(u"cannot send \"%1\": the document holds an empty line (CR LF CR LF), where a host would cut it in two"_s
                   .arg(fileName));
    QXmlStreamReader reader(trimmed);
    reader.readNextStartElement();
    return {reader.name().toString(), trimmed};
}

bool isXmlName(const QString& name)
{
    if (name.contains(u':'))
        return false;
    // The reader knows what a name is; whatever else it makes of the text is not the text as a name.
    QXmlStreamReader reader(u'<' + name + "/>"_L1);
    return reader.readNextStartElement() && reader.name() == name && reader.attributes().isEmpty();
}

} // namespace OrvaneClient
