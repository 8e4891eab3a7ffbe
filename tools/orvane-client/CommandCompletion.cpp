#include "CommandCompletion.h"

#include "CommandCatalogue.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

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

QStringList candidates(const QStringList& wordsBefore, const QString& word)
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
    return keysFor(*command, wordsBefore);
}

} // namespace

QStringList completionsOf(const QString& lineBefore, const QString& word)
{
    QStringList fitting;
    for (const QString& candidate : candidates(lineBefore.simplified().split(u' ', Qt::SkipEmptyParts), word)) {
        if (candidate.startsWith(word))
            fitting.append(candidate);
    }
    return fitting;
}

} // namespace OrvaneClient
