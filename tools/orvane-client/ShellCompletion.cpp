#include "ShellCompletion.h"

#include "CommandCatalogue.h"
#include "Options.h"
#include "Settings.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// Without its dashes; null: it is none.
QString optionName(const QString& word)
{
    return word.startsWith("--"_L1) ? word.mid(2) : word.startsWith(u'-') ? word.mid(1) : QString();
}

bool takesValue(const QString& word)
{
    const QString name = optionName(word);
    const QList<QCommandLineOption> options = programOptions();
    return std::any_of(options.begin(), options.end(), [&](const QCommandLineOption& option) {
        return option.names().contains(name) && !option.valueName().isEmpty();
    });
}

QStringList optionsThatBegin(const QString& word)
{
    QStringList fitting;
    for (const QCommandLineOption& option : programOptions()) {
        const QString name = u"--"_s + option.names().last();
        if (name.startsWith(word))
            fitting.append(name);
    }
    return fitting;
}

/// What stands on the line besides options and their values.
QStringList withoutOptions(const QStringList& words)
{
    QStringList rest;
    bool isValue = false;
    for (const QString& word : words) {
        if (!isValue && optionName(word).isNull())
            rest.append(word);
        isValue = !isValue && takesValue(word);
    }
    return rest;
}

QStringList fittingFor(const QString& word, const QStringList& before)
{
    if (word.startsWith(u'-'))
        return optionsThatBegin(word);
    if (!before.isEmpty() && takesValue(before.last()))
        return optionName(before.last()) == "profile"_L1 ? Settings::profiles() : QStringList();
    const QStringList command = withoutOptions(before);
    QStringList fitting = completionsOf(command.join(u' ') + u' ', word, [](const QString&) { return QStringList(); });
    if (command.isEmpty())
        fitting += QStringList {u"check"_s};
    return fitting;
}

} // namespace

QString shellCompletions(const QStringList& words)
{
    const QString word = words.isEmpty() ? QString() : words.last();
    QString lines;
    for (const QString& fitting : fittingFor(word, words.mid(0, words.size() - 1))) {
        if (fitting.startsWith(word) && fitting != "quit"_L1) // which is for the prompt
            lines += fitting + u'\n';
    }
    return lines;
}

} // namespace OrvaneClient
