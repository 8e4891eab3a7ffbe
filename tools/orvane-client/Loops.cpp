#include "Loops.h"

#include "Command.h"
#include "Console.h"
#include "Host.h"
#include "Reply.h"
#include "Settings.h"
#include "Terminal.h"

#include <QFile>

#include <csignal>
#include <utility>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

using namespace std::chrono_literals;

namespace {

CommandRequest makeRequest(const Settings& settings)
{
    if (!settings.has("file"))
        return checkedRequest(settings.words, settings.has("force"));
    QFile file(settings.get("file"));
    openInput(file, {});
    return requestFromDocument(file.readAll(), settings.get("file"));
}

} // namespace

ExitStatus runCommand(Host& host)
{
    CommandRequest request = makeRequest(host.settings);
    if (host.settings.has("wait"))
        request.answerRoot = host.settings.get("wait");
    request.awaitsNotice = request.awaitsNotice || host.settings.has("wait");
    request.awaitsNothing = host.settings.has("no-reply");
    host.setListener([&](const Reply& reply) { host.console.reply(reply); });
    host.exchange(request);
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
    explicit Shell(Host& host)
        : host(host)
        , console(host.console)
    {
        host.setListener([this](const Reply& reply) { show(reply); });
        if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
            return;
        catchSignals();
        prompt = std::make_unique<Prompt>(host, [this](const QString& key) { return valuesOf(key); });
    }

    ExitStatus run()
    {
        host.connect();
        if (prompt)
            console.text(u"Connected. \"help\" lists the commands, \"quit\" ends.\n"_s);
        for (int number = 1; const std::optional<QByteArray> line = prompt ? prompt->next() : nextLine(input, host);
             ++number) {
            if (line->trimmed() == "quit" || !runLine(*line, number))
                break;
        }
        return status;
    }

private:
    void show(const Reply& reply)
    {
        const QMap<QString, QStringList> told = reply.names();
        names.insert(told);
        if (reply.root == RefreshFinishedNotice)
            names.clear();
        if (told.isEmpty() || !isCompleting)
            console.reply(reply);
    }

    /// Asks the host for what it has not told yet, but not for longer than a user waits for the tabulator key.
    QStringList valuesOf(const QString& key)
    {
        static const QMap<QString, QString> lists = {{u"presetname"_s, u"getPresetsList"_s},
            {u"recorder"_s, u"getRecorderList"_s}, {u"track"_s, u"getRecorderList"_s}};
        if (lists.contains(key) && !names.contains(key)) {
            CommandRequest request = requestFromWords({lists[key]});
            request.limit = 1s;
            isCompleting = true;
            static_cast<void>(attempt([&] { host.exchange(request); })); // if it fails there are no names
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
                console.problem(signal != 0 ? u"given up: the connection is closed"_s : outcome.problem);
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
        CommandRequest request = checkedRequest(words, host.settings.has("force"));
        request.awaitsNotice = request.awaitsNotice && !prompt; // there it is shown when it comes
        host.exchange(request);
    }

    Host& host;
    Console& console;
    QFile input;
    std::unique_ptr<Prompt> prompt; ///< null: there is no user to whom to show it
    QMap<QString, QStringList> names; ///< of the host, by the keys that take them
    ExitStatus status = ExitStatus::Success; ///< of the first line that failed; at a prompt the user has seen it
    bool isCompleting = false;
};

} // namespace

ExitStatus runLines(Host& host)
{
    return Shell(host).run();
}

namespace {

/// Without a command watch asks for both lists.
QList<CommandRequest> makeQueries(const Settings& settings)
{
    if (settings.words.size() > 1)
        return {checkedRequest(settings.words.mid(1), settings.has("force"))};
    return {requestFromWords({u"getRecorderList"_s}), requestFromWords({u"getPresetsList"_s})};
}

} // namespace

ExitStatus runWatch(Host& host)
{
    Console& console = host.console;
    const QList<CommandRequest> queries = makeQueries(host.settings);
    const std::chrono::milliseconds interval = host.settings.duration("interval");
    catchSignals();
    console.showTimes();
    QByteArray asked;
    QMap<QByteArray, QByteArray> answers;
    QMap<QByteArray, QString> problems;
    host.setListener([&](const Reply& reply) {
        const bool isNotice = reply.root == RefreshFinishedNotice;
        if (isNotice || std::exchange(answers[asked], reply.raw) != reply.raw)
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
            console.problem(u"connected to %1"_s.arg(host.settings.address()));
        for (const CommandRequest& query : queries) {
            asked = query.document;
            if (host.isConnected() && caughtSignal() == 0)
                tellNewProblem(attempt([&] { host.exchange(query); }));
        }
        host.idleUntil([&] { return !host.isConnected(); }, host.isConnected() ? interval : 1s);
    }
    return ExitStatus::Success;
}

} // namespace OrvaneClient
