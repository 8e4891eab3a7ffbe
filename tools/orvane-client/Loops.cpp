#include "Loops.h"

#include "Command.h"
#include "Console.h"
#include "Host.h"
#include "Reply.h"
#include "Settings.h"
#include "Terminal.h"

#include <csignal>
#include <utility>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

using namespace std::chrono_literals;

/// For output that a script takes as the answers in their order: a late one stays out.
void printTimely(Console& console, const Reply& reply, bool isLate)
{
    if (isLate)
        console.problem(u"a late answer to an earlier command is dropped"_s);
    else
        console.reply(reply);
}

} // namespace

ExitStatus runCommand(Host& host, Console& console, const Settings& settings, const CommandRequest& request)
{
    Expectation expected = Expectation::answerOf(request.command);
    expected.isNothing = settings.has("no-reply");
    if (settings.has("wait"))
        expected = {request.command, settings.get("wait"), true};
    host.setListener([&](const Reply& reply, bool isLate) { printTimely(console, reply, isLate); });
    host.exchange(request, expected);
    host.close();
    return ExitStatus::Success;
}

namespace {

/// A misspelt login has a password, too.
bool mayBeRemembered(const QByteArray& line)
{
    const QByteArray lowerCase = line.toLower();
    return !lowerCase.contains("password") && !lowerCase.contains("login");
}

/// Runs lines, each a command of the host or one of the client's own.
class Shell {
public:
    Shell(Host& host, Console& console, bool isForced)
        : host(host)
        , console(console)
        , isForced(isForced)
    {
        host.setListener([this](const Reply& reply, bool isLate) { show(reply, isLate); });
        if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
            return;
        catchSignals();
        prompt = std::make_unique<Prompt>(host, console, [this](const QString& key) { return valuesOf(key); });
    }

    ExitStatus run()
    {
        host.connect();
        if (prompt)
            console.text(u"Connected. \"help\" lists the commands, \"quit\" ends.\n"_s);
        for (int number = 1; const std::optional<QByteArray> line = prompt ? prompt->next() : lines.next(); ++number) {
            if (line->trimmed() == "quit" || !runLine(*line, number))
                break;
        }
        host.close();
        return status;
    }

private:
    void show(const Reply& reply, bool isLate)
    {
        const QMap<QString, QStringList> told = reply.names();
        names.insert(told);
        if (reply.root == RefreshFinishedNotice)
            names.clear();
        if (!prompt)
            printTimely(console, reply, isLate);
        else if (told.isEmpty() || !isCompleting)
            console.reply(reply); // a user sees whose answer it is
    }

    /// Asks the host for what it has not told yet, but not for longer than a user waits for the tabulator key.
    QStringList valuesOf(const QString& key)
    {
        static const QMap<QString, QString> lists = {{u"presetname"_s, u"getPresetsList"_s},
            {u"recorder"_s, u"getRecorderList"_s}, {u"track"_s, u"getRecorderList"_s}};
        if (lists.contains(key) && !names.contains(key)) {
            isCompleting = true;
            static_cast<void>(attempt([&] {
                host.exchange(requestFromWords({lists[key]}), Expectation::answerOf(lists[key]), 1s);
            })); // if it fails there are no names
            isCompleting = false;
        }
        return names.value(key);
    }

    /// \return whether to go on
    bool runLine(const QByteArray& line, int number)
    {
        const Outcome outcome = attempt([&] { execute(line); });
        const int signal = std::exchange(caughtSignal(), 0);
        if (outcome.status == ExitStatus::Success || prompt) {
            if (outcome.status != ExitStatus::Success)
                console.problem(
                    signal != 0 ? u"given up; an answer that comes all the same is shown"_s : outcome.problem);
            return signal == 0 || signal == SIGINT;
        }
        console.problem(u"line %1: %2"_s.arg(number).arg(outcome.problem));
        status = status == ExitStatus::Success ? outcome.status : status;
        return outcome.status != ExitStatus::NotLoggedIn && outcome.status != ExitStatus::NoConnection; // for nothing
    }

    void execute(const QByteArray& line)
    {
        const QByteArray trimmed = line.trimmed();
        if (trimmed.isEmpty() || trimmed.startsWith('#'))
            return;
        if (prompt && mayBeRemembered(trimmed))
            prompt->remember(line);
        if (trimmed == "help" || trimmed.startsWith("help ")) {
            console.text(helpOn(QString::fromUtf8(trimmed.mid(4)).trimmed()));
            return;
        }
        // A backslash may stand before a blank at the end.
        const QStringList words = wordsOfLine(line.endsWith('\r') ? line.chopped(1) : line);
        const CommandRequest request = checkedRequest(words, isForced);
        Expectation expected = Expectation::answerOf(request.command);
        expected.isNothing = prompt && expected.isNotice; // nobody waits there for a notice: it is shown when it comes
        host.exchange(request, expected);
        if (expected.isNothing)
            console.problem(u"when the refresh has ended, %1 is shown"_s.arg(expected.root));
    }

    Host& host;
    Console& console;
    const bool isForced;
    PlainLines lines {host};
    std::unique_ptr<Prompt> prompt; ///< null: there is no user to whom to show it
    QMap<QString, QStringList> names; ///< of the host, by the keys that take them
    ExitStatus status = ExitStatus::Success; ///< of the first line that failed; at a prompt the user has seen it
    bool isCompleting = false;
};

} // namespace

ExitStatus runLines(Host& host, Console& console, const Settings& settings)
{
    return Shell(host, console, settings.has("force")).run();
}

ExitStatus runWatch(Host& host, Console& console, const Settings& settings, const QList<CommandRequest>& queries)
{
    const std::chrono::milliseconds interval = settings.duration("interval");
    catchSignals();
    console.showTimes();
    QByteArray asked;
    QMap<QByteArray, QByteArray> answers;
    QMap<QByteArray, QString> problems;
    host.setListener([&](const Reply& reply, bool isLate) {
        const bool isNotice = reply.root == RefreshFinishedNotice;
        if (isNotice || (!isLate && std::exchange(answers[asked], reply.raw) != reply.raw))
            console.reply(reply);
    });
    const auto tellNewProblem = [&](const Outcome& result) {
        const bool isNew = std::exchange(problems[asked], result.problem) != result.problem;
        if (isNew && !result.problem.isEmpty() && caughtSignal() == 0)
            console.problem(result.problem);
        const bool isHopeless = result.status == ExitStatus::NoConnection && !result.mayPass;
        if (isHopeless || result.status == ExitStatus::NotLoggedIn)
            throw Outcome {result.status}; // it has been told
    };
    while (caughtSignal() == 0) {
        const bool wasConnected = host.isConnected();
        asked.clear();
        tellNewProblem(attempt([&] { host.logIn(); }));
        if (host.isConnected() && !wasConnected)
            console.problem(u"connected to %1"_s.arg(settings.address()));
        for (const CommandRequest& query : queries) {
            asked = query.document;
            if (host.isConnected() && caughtSignal() == 0)
                tellNewProblem(attempt([&] { host.exchange(query, Expectation::answerOf(query.command)); }));
        }
        host.idleUntil([&] { return !host.isConnected(); }, host.isConnected() ? interval : 1s);
    }
    return ExitStatus::Success;
}

} // namespace OrvaneClient
