#include "Command.h"

#include "Outcome.h"
#include "Protocol.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

#include <cmath>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

// Help on the protocol's commands. Completion and the checks also read this text.
const QString HelpOnAll = uR"(loginClient             log in with another account
    username=text password=text
updateRecorderContents  refresh the recorder list; a notice follows when it has finished
getRecorderList         list the recorders with their tracks
getPresetsList          list the presets
showLive                show the live picture of a camera in a split
    recorder=text splitid=number camera=number alarm=number commandtag=text
showTrack               play back a recorded track in a split
    recorder=text trackid=number track=text splitid=number camera=number time=long limitstart=long limitend=long alarm=number commandtag=text
setPreset               apply a preset
    presetname=text
setSplitMode            change how a window is divided into splits; takes other keys, too
    splitmode=decimal windowid=number
setDetailViews          show exactly these detail views inside a split
    splitid=number
    subsplit:id=decimal,objectid=long,ltx=float,lty=float,rbx=float,rby=float
showLiveAtSubsplit      show the live picture of a camera in a sub-split
    splitid=number subsplit=number camera=number
getPertinentInfo        ask a host-specific question; takes any keys
)"_s;

// What precedes a name in that text.
constexpr QLatin1String Key(" ");
constexpr QLatin1String Field("[:,]"); ///< of the only group, the detail views
constexpr QLatin1String Group("subsplit:");

/// The help on a command; null if it is unknown.
QString knownLines(const QString& command)
{
    const QRegularExpression lines(u"(?m)^%1 .*\\n(?:    .*\\n)*"_s.arg(QRegularExpression::escape(command)));
    return lines.match(HelpOnAll).captured();
}

/// All first captures.
QStringList capturedIn(const QString& text, const QString& pattern)
{
    QStringList captured;
    for (const QRegularExpressionMatch& match : QRegularExpression(u"(?m)"_s + pattern).globalMatch(text))
        captured.append(match.captured(1));
    return captured;
}

/// The type of a key or field: text, number, decimal, long or float; null if \a lines does not contain it.
QString kindOf(QLatin1String before, const QString& name, const QString& lines)
{
    return capturedIn(lines, before + QRegularExpression::escape(name) + u"=(\\w+)"_s).value(0);
}

/// The key of key=value.
QString keyOf(const QString& word)
{
    return word.section(u'=', 0, 0);
}

bool isGroup(const QString& word)
{
    return keyOf(word).contains(u':');
}

/// The fields of a group, split at each comma without a backslash before it.
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

/// Reads numbers like the host: white space may surround them, and hexadecimal ones begin with a lower-case 0x.
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
    else if (kind == "float"_L1) // the host reads a number that is too large as infinite
        isNumber = !std::isnan(number.toDouble(&isNumber)) && isNumber;
    return isNumber;
}

[[noreturn]] void refuseUnforced(const QString& fault)
{
    refuse(fault + u" (use --force to send it anyway)"_s);
}

/// \a what: what the key should be; null if unknown keys are allowed.
void checkValue(const QString& word, const QString& kind, const QString& what)
{
    const QString value = word.section(u'=', 1);
    if (kind.isEmpty() && !what.isNull())
        refuseUnforced(u"\"%1\" is not a %2"_s.arg(keyOf(word), what));
    if (!isValue(value, kind))
        refuseUnforced(u"invalid number \"%1\" for %2"_s.arg(value, keyOf(word)));
}

void checkCommand(const QStringList& words)
{
    const QString& name = words.first();
    const QString lines = knownLines(name);
    const bool takesOthers = name == "setSplitMode"_L1 || name == "getPertinentInfo"_L1;
    if (lines.isEmpty())
        refuseUnforced(u"unknown command \"%1\""_s.arg(name));
    for (const QString& word : words.mid(1)) {
        const QString kind = kindOf(Key, keyOf(word), lines);
        if (!isGroup(word)) {
            checkValue(word, kind, takesOthers ? QString() : u"key of "_s + name);
            if (!kind.isEmpty() && words.filter(QRegularExpression(u"^%1="_s.arg(keyOf(word)))).size() > 1)
                refuseUnforced(u"duplicate key \"%1\": the host uses only the first"_s.arg(keyOf(word)));
        } else if (!takesOthers) {
            if (!word.startsWith(Group) || !lines.contains(Group))
                refuseUnforced(u"\"%1\" is not a group of %2"_s.arg(word.section(u':', 0, 0), name));
            for (const QString& field : groupParts(word.section(u':', 1)))
                checkValue(field, kindOf(Field, keyOf(field), lines), u"field of a subsplit"_s);
        }
    }
}

} // namespace

QString helpOn(const QString& command)
{
    const QString known = knownLines(command);
    if (!command.isEmpty() && known.isEmpty())
        refuse(u"unknown command \"%1\""_s.arg(command));
    return command.isEmpty() ? HelpOnAll : known;
}

namespace {

/// The values of a key, escaped for a line. Omits those with line ends, which a line cannot contain.
QStringList valuesFor(const QString& key, const ValuesOfKey& valuesOf)
{
    static const QRegularExpression oneLine(u"^[^\\r\\n]*\\z"_s);
    static const QRegularExpression special(u"([\\s\\\\'\"])"_s);
    return valuesOf(key)
        .filter(oneLine)
        .replaceInStrings(special, u"\\\\1"_s)
        .replaceInStrings(QRegularExpression(u"^"_s), key + u'=');
}

QStringList candidates(const QStringList& wordsBefore, const QString& word, const ValuesOfKey& valuesOf)
{
    if (wordsBefore.isEmpty() || wordsBefore.first() == "help"_L1) {
        const QStringList commands = capturedIn(HelpOnAll, u"^(\\w+)"_s);
        return wordsBefore.isEmpty() ? commands + QStringList {u"help"_s, u"quit"_s} : commands;
    }
    const QString lines = knownLines(wordsBefore.first());
    const bool hasGroup = lines.contains(Group);
    if (hasGroup && word.startsWith(Group)) {
        const QString start = word.left(word.lastIndexOf(QRegularExpression(Field)) + 1);
        return capturedIn(lines, Field + u"(\\w+=)"_s).replaceInStrings(QRegularExpression(u"^"_s), start);
    }
    if (word.contains(u'='))
        return kindOf(Key, keyOf(word), lines).isEmpty() ? QStringList() : valuesFor(keyOf(word), valuesOf);
    QStringList keys = capturedIn(lines, Key + u"(\\w+=)"_s);
    keys.removeIf([&](const QString& key) { return !wordsBefore.filter(QRegularExpression(u'^' + key)).isEmpty(); });
    return hasGroup ? keys + QStringList(u"subsplit:id="_s) : keys;
}

} // namespace

std::pair<QString, QStringList> completionOf(const QString& line, const ValuesOfKey& valuesOf)
{
    static const QRegularExpression lastWord(u"(?<!\\S)(?:\\\\.|[^\\s\\\\])*\\\\?$"_s);
    const QString word = lastWord.match(line).captured();
    QStringList words =
        candidates(line.chopped(word.size()).simplified().split(u' ', Qt::SkipEmptyParts), word, valuesOf);
    words.removeIf([&](const QString& candidate) { return !candidate.startsWith(word); });
    return {word, words};
}

namespace {

/// Escapes text for an element or attribute. Line ends become references: an empty line would end the message, and an
/// XML reader would turn other line ends into blanks or single line feeds.
QString escapedXml(const QString& key, const QString& text, bool inAscii)
{
    static const QRegularExpression impossible(u"[\\x00-\\x08\\x0B\\x0C\\x0E-\\x1F\\x{FFFE}\\x{FFFF}]"_s);
    if (text.contains(QChar::ReplacementCharacter)) // invalid UTF-8 was decoded to this
        refuse(u"the value of \"%1\" is not UTF-8"_s.arg(key));
    if (const QString found = impossible.match(text).captured(); !found.isEmpty())
        refuse(u"the value of \"%1\" contains U+%2, which XML does not allow"_s.arg(
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

/// Whether an element or an attribute without a namespace prefix can have this name.
bool isXmlName(const QString& name)
{
    if (name.contains(u':'))
        return false;
    // The XML reader decides: it must return the whole text as the name, and nothing else.
    QXmlStreamReader reader(u'<' + name + "/>"_L1);
    return reader.readNextStartElement() && reader.name() == name && reader.attributes().isEmpty();
}

QString nameBefore(QChar mark, const QString& word, const QString& what)
{
    QString name = word.section(mark, 0, 0);
    if (!isXmlName(name))
        refuse(u"invalid %2 \"%1\": not an XML name"_s.arg(name, what));
    return name;
}

/// The element of a group: "name:field=value,field=value".
QString groupElement(const QString& name, const QString& fields, bool inAscii)
{
    QString element = u'<' + name;
    for (const QString& field : groupParts(fields)) {
        if (!field.contains(u'='))
            refuse(u"invalid field \"%1\" in group \"%2\": write field=value"_s.arg(field, name));
        const QString key = nameBefore(u'=', field, u"field"_s);
        if (element.contains(u" %1=\""_s.arg(key)))
            refuse(u"duplicate field \"%1\" in group \"%2\""_s.arg(key, name));
        element += u" %1=\"%2\""_s.arg(key, escapedXml(key, field.section(u'=', 1), inAscii));
    }
    return element + "/>"_L1;
}

} // namespace

CommandRequest::CommandRequest(QString name, QByteArray text)
    : command(std::move(name))
    , document(std::move(text))
    , awaitsNotice(command == "updateRecorderContents"_L1)
{
    if (awaitsNotice)
        answerRoot = RefreshFinishedNotice;
    else if (command == "getRecorderList"_L1 || command == "getPresetsList"_L1)
        answerRoot = command + "Response"_L1;
    else if (command != "getPertinentInfo"_L1 && !knownLines(command).isEmpty())
        answerRoot = u"commandAccepted"_s;
}

QString CommandRequest::answerDescription() const
{
    if (awaitsNotice)
        return u"%1 after %2"_s.arg(answerRoot, command.isEmpty() ? u"the document"_s : command);
    return command.isEmpty() ? u"answer"_s : u"answer to %1"_s.arg(command);
}

CommandRequest requestFromWords(const QStringList& words, bool inAscii)
{
    if (words.isEmpty())
        refuse(u"the command is missing"_s);
    const QString command = nameBefore(u'\0', words.first(), u"command"_s);
    QString text;
    for (const QString& word : words.mid(1)) {
        if (isGroup(word)) {
            const QString name = nameBefore(u':', word, u"group"_s);
            const QString end = u"</%1s>"_s.arg(name);
            if (!text.contains(end))
                text += u"<%1s>"_s.arg(name) + end;
            text.insert(text.indexOf(end), groupElement(name, word.section(u':', 1), inAscii));
            continue;
        }
        if (!word.contains(u'='))
            refuse(u"invalid parameter \"%1\": write key=value"_s.arg(word));
        const QString key = nameBefore(u'=', word, u"key"_s);
        text += u"<%1>%2</%1>"_s.arg(key, escapedXml(key, word.section(u'=', 1), inAscii));
    }
    const QByteArray document = u"<%1>%2</%1>"_s.arg(command, text).toUtf8();
    // A host reads pieces of this length, and decodes each separately.
    constexpr qsizetype lengthOfPiece = 4096;
    const bool mayTear = document.size() + OrvaneInterface::MessageTerminator.size() > lengthOfPiece
        && text.toUtf8().size() != text.size();
    return mayTear && !inAscii ? requestFromWords(words, true) : CommandRequest(command, document);
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
        refuse(u"cannot send \"%1\": the document contains an empty line (CR LF CR LF), which would split it"_s.arg(
            fileName));
    QXmlStreamReader reader(trimmed);
    reader.readNextStartElement();
    return {reader.name().toString(), trimmed};
}

} // namespace OrvaneClient
