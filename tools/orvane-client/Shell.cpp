#include "Shell.h"

#include "CommandCatalogue.h"
#include "CommandCheck.h"
#include "HelpText.h"
#include "HostSession.h"
#include "LineSource.h"

#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

SingleCommand::SingleCommand(HostSession& session, Console& console, CommandRequest request, Expectation expectation)
    : session(session)
    , console(console)
    , request(std::move(request))
    , expectation(std::move(expectation))
{
    connect(&session, &HostSession::ready, this, [this] { this->session.exchange(this->request, this->expectation); });
    connect(&session, &HostSession::replyReceived, this, [this](const Reply& reply) { this->console.reply(reply); });
    connect(&session, &HostSession::exchangeFinished, this, &SingleCommand::handleFinished);
    connect(&session, &HostSession::finished, this, [this] { Q_EMIT ended(status); });
    connect(&session, &HostSession::broken, this, [this](ExitStatus reason, const QString& problem) {
        this->console.problem(problem);
        Q_EMIT ended(reason);
    });
}

void SingleCommand::handleFinished(ExitStatus result, const QString& problem)
{
    status = result;
    if (!problem.isEmpty())
        console.problem(problem);
    session.finish();
}

namespace {

/// A misspelt login has a password too.
bool mayBeRemembered(const QByteArray& line)
{
    const QByteArray lowerCase = line.toLower();
    return !lowerCase.contains("password") && !lowerCase.contains("login");
}

/// At a prompt nobody waits for a notice: it is shown when it comes.
Expectation expectationAtPrompt(const QString& command)
{
    const KnownCommand* const known = findKnownCommand(command);
    const bool comesLater = known != nullptr && known->answer == AnswerKind::LaterNotice;
    return comesLater ? Expectation::nothing() : Expectation::answerOf(command);
}

} // namespace

Shell::Shell(HostSession& session, LineSource& source, Console& console, bool isForced)
    : session(session)
    , source(source)
    , console(console)
    , isForced(isForced)
{
    connect(&session, &HostSession::ready, this, &Shell::handleReady);
    connect(&session, &HostSession::replyReceived, this, &Shell::showReply);
    connect(&session, &HostSession::exchangeFinished, this, &Shell::handleFinished);
    connect(&session, &HostSession::broken, this, &Shell::handleBroken);
    connect(&session, &HostSession::finished, this, [this] { Q_EMIT ended(status); });
    source.setValuesOfKeys([this](const QString& key) { return valuesOf(key); });
    connect(&source, &LineSource::lineRead, this, &Shell::handleLine);
    connect(&source, &LineSource::interrupted, this, &Shell::handleInterrupted);
    connect(&source, &LineSource::ended, &session, &HostSession::finish);
}

void Shell::showReply(const Reply& reply)
{
    const bool isList = names.learn(reply);
    if (!isList || !asksForNames)
        console.reply(reply);
}

/// Asks the host for what it has not told yet, but not for longer than a person waits for the tabulator key.
QStringList Shell::valuesOf(const QString& key)
{
    using namespace std::chrono_literals;
    const QString list = HostNames::listFor(key);
    if (!list.isNull() && !names.valuesOf(key) && !session.isWaiting()) {
        asksForNames = true;
        QEventLoop loop;
        connect(&session, &HostSession::exchangeFinished, &loop, &QEventLoop::quit);
        connect(&session, &HostSession::broken, &loop, &QEventLoop::quit);
        QTimer::singleShot(1s, &loop, &QEventLoop::quit);
        session.exchange({list, (u'<' + list + "/>"_L1).toUtf8()}, Expectation::answerOf(list));
        loop.exec();
        session.cancel();
        asksForNames = false;
    }
    return names.valuesOf(key).value_or(QStringList());
}

void Shell::askForLine()
{
    asksForLine = true;
    source.askForLine();
}

void Shell::handleReady()
{
    wasReady = true;
    if (source.isInteractive())
        console.text(u"Connected. \"help\" lists the commands, \"quit\" ends.\n"_s);
    askForLine();
}

void Shell::handleLine(const QByteArray& line)
{
    asksForLine = false;
    ++lineNumber;
    const QByteArray trimmed = line.trimmed();
    if (trimmed.isEmpty() || trimmed.startsWith('#')) {
        askForLine();
        return;
    }
    if (mayBeRemembered(trimmed))
        source.remember(line);
    if (!runOwnCommand(trimmed))
        sendCommand(line.endsWith('\r') ? line.chopped(1) : line); // a blank at the end may have a backslash before it
}

bool Shell::runOwnCommand(const QByteArray& line)
{
    if (line == "quit") {
        session.finish();
        return true;
    }
    const bool isHelp = line == "help" || line.startsWith("help ");
    if (!isHelp)
        return false;
    const Result<QString> text = helpOn(QString::fromUtf8(line.mid(4).trimmed()));
    if (text)
        console.text(*text);
    else
        console.problem(text.error());
    askForLine();
    return true;
}

void Shell::sendCommand(const QByteArray& line)
{
    const Result<QStringList> words = wordsOfLine(line);
    const Result<CommandRequest> request =
        words ? checkedRequest(*words, isForced) : Result<CommandRequest>::failure(words.error());
    if (!request) {
        noteFailure(ExitStatus::UsageError, request.error());
        askForLine();
        return;
    }
    session.exchange(*request,
        source.isInteractive() ? expectationAtPrompt(request->command) : Expectation::answerOf(request->command));
}

void Shell::handleFinished(ExitStatus result, const QString& problem)
{
    if (asksForNames)
        return;
    if (result != ExitStatus::Success)
        noteFailure(result, problem);
    if (result == ExitStatus::NotLoggedIn && !source.isInteractive())
        session.finish(); // nothing would be carried out
    else
        askForLine();
}

/// The next command connects anew. From a pipe only where that can be done.
void Shell::handleBroken(ExitStatus result, const QString& problem)
{
    noteFailure(result, problem);
    if (!wasReady || (!source.isInteractive() && result == ExitStatus::NoConnection))
        Q_EMIT ended(source.isInteractive() ? result : status);
    else if (!asksForLine)
        askForLine();
}

void Shell::handleInterrupted()
{
    if (!session.isWaiting()) {
        session.finish();
        return;
    }
    session.cancel();
    console.problem(u"given up; an answer that comes all the same is shown"_s);
    askForLine();
}

void Shell::noteFailure(ExitStatus result, const QString& problem)
{
    console.problem(
        source.isInteractive() || lineNumber == 0 ? problem : u"line %1: %2"_s.arg(lineNumber).arg(problem));
    if (status == ExitStatus::Success && !source.isInteractive())
        status = result;
}

} // namespace OrvaneClient
