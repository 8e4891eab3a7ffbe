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

/// Runs lines, each a command of the host or one of the client's own.
class Shell {
public:
    Shell(Host& host, Console& console, const Settings& settings, bool isAtPrompt);

    ExitStatus run();

private:
    void show(const Reply& reply, bool isLate);
    QStringList valuesOf(const QString& key);
    void runLine(const QByteArray& line);
    /// \return whether to go on
    bool handleFailure(const Outcome& failure, bool isInterrupted);

    Host& host;
    Console& console;
    const Settings& settings;
    PlainLines lines;
    std::unique_ptr<Prompt> prompt; ///< null: there is no user to whom to show it
    QMap<QString, QStringList> names; ///< of the host, by the keys that take them
    qint64 lineNumber = 0;
    ExitStatus status = ExitStatus::Success;
    bool isCompleting = false;
};

Shell::Shell(Host& host, Console& console, const Settings& settings, bool isAtPrompt)
    : host(host)
    , console(console)
    , settings(settings)
    , lines(host)
{
    if (isAtPrompt)
        prompt = std::make_unique<Prompt>(host, console, [this](const QString& key) { return valuesOf(key); });
    host.setListener([this](const Reply& reply, bool isLate) { show(reply, isLate); });
}

void Shell::show(const Reply& reply, bool isLate)
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
QStringList Shell::valuesOf(const QString& key)
{
    const bool isPreset = key == "presetname"_L1;
    const QString list = isPreset ? u"getPresetsList"_s : u"getRecorderList"_s;
    if (names.contains(key) || (!isPreset && key != "recorder"_L1 && key != "track"_L1))
        return names.value(key);
    isCompleting = true;
    try {
        host.exchange(requestFromWords({list}), Expectation::answerOf(list), 1s);
    } catch (const Outcome&) { // then there are no names
    }
    isCompleting = false;
    return names.value(key);
}

ExitStatus Shell::run()
{
    host.connect();
    if (prompt)
        console.text(u"Connected. \"help\" lists the commands, \"quit\" ends.\n"_s);
    for (bool goesOn = true; goesOn; ++lineNumber) {
        const std::optional<QByteArray> line = prompt ? prompt->next() : lines.next();
        if (!line || line->trimmed() == "quit")
            break;
        Outcome outcome;
        try {
            runLine(*line);
        } catch (const Outcome& failure) {
            outcome = failure;
        }
        const int signal = std::exchange(caughtSignal(), 0);
        goesOn = signal == 0 || signal == SIGINT;
        if (outcome.status != ExitStatus::Success)
            goesOn = handleFailure(outcome, signal != 0) && goesOn;
    }
    host.close();
    return status;
}

/// A misspelt login has a password, too.
bool mayBeRemembered(const QByteArray& line)
{
    const QByteArray lowerCase = line.toLower();
    return !lowerCase.contains("password") && !lowerCase.contains("login");
}

void Shell::runLine(const QByteArray& line)
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
    const CommandRequest request = checkedRequest(words, settings.has("force"));
    Expectation expected = Expectation::answerOf(request.command);
    expected.isNothing = prompt && expected.isNotice; // nobody waits there for a notice: it is shown when it comes
    host.exchange(request, expected);
    if (expected.isNothing)
        console.problem(u"when the refresh has ended, %1 is shown"_s.arg(expected.root));
}

bool Shell::handleFailure(const Outcome& failure, bool isInterrupted)
{
    if (prompt) {
        console.problem(isInterrupted ? u"given up; an answer that comes all the same is shown"_s : failure.problem);
        return true;
    }
    console.problem(u"line %1: %2"_s.arg(lineNumber + 1).arg(failure.problem));
    if (status == ExitStatus::Success)
        status = failure.status;
    return failure.status != ExitStatus::NotLoggedIn && failure.status != ExitStatus::NoConnection; // for nothing
}

} // namespace

ExitStatus runLines(Host& host, Console& console, const Settings& settings)
{
    const bool isAtPrompt = isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
    if (isAtPrompt)
        catchSignals();
    return Shell(host, console, settings, isAtPrompt).run();
}

ExitStatus runWatch(Host& host, Console& console, const Settings& settings, const QList<CommandRequest>& queries)
{
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
    const auto attempt = [&](const auto& function) {
        Outcome result;
        try {
            function();
        } catch (const Outcome& failure) {
            result = failure;
        }
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
        attempt([&] { host.logIn(); });
        if (host.isConnected() && !wasConnected)
            console.problem(u"connected to %1"_s.arg(settings.address()));
        for (const CommandRequest& query : queries) {
            asked = query.document;
            if (host.isConnected() && caughtSignal() == 0)
                attempt([&] { host.exchange(query, Expectation::answerOf(query.command)); });
        }
        host.idleUntil([&] { return !host.isConnected(); }, host.isConnected() ? settings.interval : 1s);
    }
    return ExitStatus::Success;
}

} // namespace OrvaneClient
