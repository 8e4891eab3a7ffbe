#include "Command.h"
#include "Console.h"
#include "Host.h"
#include "Loops.h"
#include "Settings.h"
#include "System.h"

#include <QRegularExpression>

#include <csignal>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// The words of a line, with quotes and backslashes as in a shell.
QStringList wordsOfLine(const QByteArray& line)
{
    QByteArrayList words;
    bool isInWord = false; // also where it is empty yet
    char quote = 0;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const char character = line[i];
        const bool isEscape = character == '\\' && quote != '\'';
        if (quote == 0 && (character == ' ' || character == '\t')) {
            isInWord = false;
            continue;
        }
        if (!std::exchange(isInWord, true))
            words.append(QByteArray());
        if (isEscape && i + 1 == line.size())
            break; // nothing becomes of it
        if (isEscape) {
            const char next = line[++i];
            if (quote != 0 && !QByteArrayView("\"'\\").contains(next))
                words.last() += character;
            words.last() += next;
        } else if (character == quote)
            quote = 0;
        else if (quote == 0 && (character == '"' || character == '\''))
            quote = character;
        else
            words.last() += character;
    }
    if (quote != 0)
        refuse(u"unclosed quote, or backslash at the end of the line"_s);
    QStringList texts;
    for (const QByteArray& word : words)
        texts.append(QString::fromUtf8(word));
    return texts;
}

/// Runs lines: commands for the host, and the client's own.
class Shell {
public:
    explicit Shell(Host& host)
        : host(host)
    {
        host.listener = [this](const Reply& reply) {
            if (!isCompleting || reply.names().isEmpty())
                this->host.console.reply(reply);
        };
        if (isPrompt)
            catchSignals();
        lines = isPrompt ? makePrompt(host, [this](const QString& key) { return valuesOf(key); }) : makeInput(host);
    }

    ExitStatus run()
    {
        host.connect();
        if (isPrompt && !host.settings.has("no-login"))
            host.logIn(); // reports a wrong password before anything is typed
        if (isPrompt)
            host.console.text(u"Connected. \"help\" lists the commands, \"quit\" ends.\n"_s);
        for (int number = 1; const std::optional<QByteArray> line = lines->next(); ++number) {
            if (line->trimmed() == "quit" || !runLine(*line, number))
                break;
        }
        return status;
    }

private:
    /// Asks the host for a list that it has not sent yet.
    QStringList valuesOf(const QString& key)
    {
        static const QMap<QString, QString> lists = {{u"presetname"_s, u"getPresetsList"_s},
            {u"recorder"_s, u"getRecorderList"_s}, {u"track"_s, u"getRecorderList"_s}};
        if (lists.contains(key) && !host.names().contains(key)) {
            isCompleting = true;
            // On failure there are no names.
            static_cast<void>(attempt([&] { host.exchange(requestFromWords({lists[key]})); }));
            isCompleting = false;
        }
        return host.names().value(key);
    }

    /// \return whether to continue
    bool runLine(const QByteArray& line, int number)
    {
        const Outcome outcome = attempt([&] { execute(line); });
        const int signal = std::exchange(caughtSignal, 0);
        if (outcome.status == ExitStatus::Success || isPrompt) {
            if (outcome.status != ExitStatus::Success)
                host.console.problem(signal != 0 ? u"interrupted: the connection is closed"_s : outcome.problem);
            return signal == 0 || signal == SIGINT;
        }
        host.console.problem(u"line %1: %2"_s.arg(number).arg(outcome.problem));
        status = status == ExitStatus::Success ? outcome.status : status;
        // After these two, all further lines would fail.
        return outcome.status != ExitStatus::NotLoggedIn && outcome.status != ExitStatus::NoConnection;
    }

    void execute(const QByteArray& line)
    {
        static const QRegularExpression secret(u"(?i)password|login"_s);
        const QByteArray trimmed = line.trimmed();
        if (trimmed.isEmpty() || trimmed.startsWith('#'))
            return;
        if (isPrompt && !QString::fromUtf8(trimmed).contains(secret)) // even if the command is misspelt
            lines->remember(line);
        // Not trimmed: the line may end in an escaped blank.
        const QStringList words = wordsOfLine(line.endsWith('\r') ? line.chopped(1) : line);
        if (words.value(0) == "help"_L1) {
            host.console.text(helpOn(words.mid(1).join(u' ')));
            return;
        }
        CommandRequest request = checkedRequest(words, host.settings.has("force"));
        request.awaitsNotice = request.awaitsNotice && !isPrompt; // a prompt shows it when it comes
        host.exchange(request);
    }

    Host& host;
    const bool isPrompt = isTerminal(stdin) && isTerminal(stdout);
    std::unique_ptr<LineReader> lines;
    ExitStatus status = ExitStatus::Success; ///< of the first line that failed; Success at a prompt
    bool isCompleting = false;
};

} // namespace

ExitStatus runLines(Host& host)
{
    return Shell(host).run();
}

} // namespace OrvaneClient
