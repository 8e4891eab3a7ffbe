#include "CommandCheck.h"

#include "CommandCatalogue.h"

#include <QList>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// How many characters have to be changed, added or left out to make one of the other; their case does not matter.
qsizetype distance(const QString& from, const QString& to)
{
    QList<qsizetype> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 0; i < from.size(); ++i) {
        qsizetype diagonal = std::exchange(row[0], i + 1);
        for (qsizetype j = 0; j < to.size(); ++j) {
            const bool isSame = from[i].toLower() == to[j].toLower();
            const qsizetype changed = diagonal + (isSame ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.last();
}

/// A question with the name that is most like \a name; empty when none is.
QString didYouMean(const QString& name, const QStringList& known)
{
    const auto nearest = std::min_element(known.begin(), known.end(),
        [&](const QString& left, const QString& right) { return distance(name, left) < distance(name, right); });
    constexpr qsizetype charactersForOne = 3;
    if (nearest == known.end() || distance(name, *nearest) > 1 + name.size() / charactersForOne)
        return {};
    return u": did you mean \"%1\"?"_s.arg(*nearest);
}

/// As the host reads numbers: with white space around them, and hexadecimal ones with a small x.
bool isValue(const QString& text, ValueKind kind)
{
    bool isNumber = true;
    const QString number = text.trimmed();
    switch (kind) {
    case ValueKind::Text:
        break;
    case ValueKind::Number:
        if (text.startsWith("0x"_L1))
            static_cast<void>(number.mid(2).toUInt(&isNumber, 16));
        else
            static_cast<void>(number.toInt(&isNumber));
        break;
    case ValueKind::Decimal:
        static_cast<void>(number.toInt(&isNumber));
        break;
    case ValueKind::Long:
        static_cast<void>(number.toLongLong(&isNumber));
        break;
    case ValueKind::Float:
        isNumber = !std::isnan(number.toDouble(&isNumber)) && isNumber; // the host takes what is too large for infinite
        break;
    }
    return isNumber;
}

/// \a what: what a name of these is called; null where others may stand as well.
QString fieldFault(const QString& name, const QString& value, const std::vector<CommandKey>& keys, const QString& what)
{
    const auto key =
        std::find_if(keys.begin(), keys.end(), [&](const CommandKey& known) { return known.name == name; });
    if (key == keys.end() && what.isNull())
        return {};
    if (key == keys.end()) {
        QStringList names;
        for (const CommandKey& known : keys)
            names.append(known.name);
        return u"\"%1\" is no %2"_s.arg(name, what) + didYouMean(name, names);
    }
    if (!isValue(value, key->kind))
        return u"\"%1\" is no number for \"%2\""_s.arg(value, name);
    return {};
}

QString groupFault(const QString& word, const KnownCommand& command)
{
    const QString group = word.left(word.indexOf(u':'));
    if (command.groupFields.empty() || group != DetailViewGroup) {
        const QStringList known = command.groupFields.empty() ? QStringList() : QStringList(DetailViewGroup);
        return u"\"%1\" is no group of %2"_s.arg(group, command.name) + didYouMean(group, known);
    }
    for (const QString& field : groupParts(word.mid(group.size() + 1))) {
        const qsizetype equals = field.indexOf(u'=');
        QString fault = fieldFault(
            field.left(equals), field.mid(equals + 1), command.groupFields, u"field of a %1"_s.arg(DetailViewGroup));
        if (!fault.isEmpty())
            return fault;
    }
    return {};
}

} // namespace

QString commandFault(const QStringList& words)
{
    const KnownCommand* const command = findKnownCommand(words.value(0));
    if (!command) {
        QStringList names;
        for (const KnownCommand& known : knownCommands())
            names.append(known.name);
        return u"the protocol has no command \"%1\""_s.arg(words.value(0)) + didYouMean(words.value(0), names);
    }
    const QString what = command->takesOthers ? QString() : u"key of %1"_s.arg(command->name);
    for (const QString& word : words.mid(1)) {
        if (isGroup(word) && command->takesOthers)
            continue;
        const qsizetype equals = word.indexOf(u'=');
        QString fault = isGroup(word) ? groupFault(word, *command)
                                      : fieldFault(word.left(equals), word.mid(equals + 1), command->keys, what);
        if (!fault.isEmpty())
            return fault;
    }
    return {};
}

Result<CommandRequest> checkedRequest(const QStringList& words, bool isForced)
{
    Result<CommandRequest> request = requestFromWords(words);
    const QString fault = request && !isForced ? commandFault(words) : QString();
    return fault.isEmpty() ? request : Result<CommandRequest>::failure(fault + u" (--force sends it all the same)"_s);
}

} // namespace OrvaneClient
