#include "Help.h"

#include "CommandCatalogue.h"
#include "Outcome.h"
#include "Settings.h"

#include <QCommandLineParser>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

constexpr QLatin1String Notation(
    R"(A parameter is key=value; it becomes an element of the document, and its value is escaped. Repeated groups are
name:field=value,field=value, one for each; "\," in a value is a comma. What the protocol does not have is not sent
without --force.
)");

} // namespace

QString programHelp()
{
    QCommandLineParser parser;
    parser.addOptions(programOptions());
    parser.setApplicationDescription(
        u"Drives a host of the Orvane interface as the control system would: logs in over TLS, sends a command, and\n"
        "prints the answer. Without a command it reads commands at a prompt or from a pipe."_s);
    parser.addPositionalArgument(
        u"command"_s, u"One of those below, check, watch [command], or help."_s, u"[command"_s);
    parser.addPositionalArgument(u"key=value"_s, u"Its parameters, in any number."_s, u"[key=value...]]"_s);
    QString text = parser.helpText() + "\nCommands:\n"_L1;
    for (const KnownCommand& command : knownCommands())
        text += textOf(command);
    return text + u'\n' + Notation + "\nThe manual page, orvane-client(1), tells more.\n"_L1;
}

QString helpOn(const QString& command)
{
    const KnownCommand* const known = findKnownCommand(command);
    if (known)
        return textOf(*known);
    if (!command.isEmpty())
        refuse(u"the protocol has no command \"%1\""_s.arg(command));
    QString text;
    for (const KnownCommand& each : knownCommands())
        text += QString(each.name).leftJustified(25) + each.purpose + u'\n';
    return text + "help COMMAND             show the keys of a command\n"_L1 + Notation;
}

namespace {

bool takesValue(const QString& word)
{
    const QString name = word.mid(word.startsWith("--"_L1) ? 2 : 1);
    const QList<QCommandLineOption> options = programOptions();
    return word.startsWith(u'-') && std::any_of(options.begin(), options.end(), [&](const QCommandLineOption& option) {
        return option.names().contains(name) && !option.valueName().isEmpty();
    });
}

QStringList fittingFor(const QString& word, const QStringList& before)
{
    QStringList fitting;
    if (word.startsWith(u'-')) {
        for (const QCommandLineOption& option : programOptions())
            fitting.append(u"--"_s + option.names().last());
        return fitting;
    }
    if (!before.isEmpty() && takesValue(before.last()))
        return before.last() == "--profile"_L1 ? profileNames() : QStringList();
    QStringList command;
    for (qsizetype i = 0; i < before.size(); ++i) {
        if (takesValue(before[i]))
            ++i;
        else if (!before[i].startsWith(u'-'))
            command.append(before[i]);
    }
    if (command.isEmpty())
        fitting = {u"check"_s, u"watch"_s};
    else if (command.first() == "watch"_L1)
        command.removeFirst();
    const QString line = (command + QStringList(word)).join(u' ');
    return fitting + completionOf(line, [](const QString&) { return QStringList(); }).words;
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
