#include "Console.h"
#include "Host.h"
#include "Loops.h"
#include "Settings.h"
#include "System.h"
#include "Trust.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>

#include <utility>

using namespace Qt::StringLiterals;

using namespace OrvaneClient;
using namespace std::chrono_literals;

namespace {

/// Opens a file that the user has named; - is standard input.
void openInput(QFile& file, const QString& what, QIODevice::OpenMode mode = QIODevice::ReadOnly)
{
    constexpr int standardInput = 0;
    if (!(file.fileName() == "-"_L1 ? file.open(standardInput, mode) : file.open(mode)))
        refuse(u"cannot read %1\"%2\": %3"_s.arg(what, file.fileName(), file.errorString()));
}

QString passwordOf(const QString& user, const Settings& settings)
{
    constexpr qsizetype longest = 4096; // a device may never end
    if (settings.has("password-file")) {
        QFile file(settings.get("password-file"));
        openInput(file, u"the password from "_s, QIODevice::ReadOnly | QIODevice::Unbuffered); // reads only that line
        return QString::fromUtf8(file.readLine(longest)).remove(u'\r').remove(u'\n');
    }
    if (qEnvironmentVariableIsSet("ORVANE_PASSWORD"))
        return qEnvironmentVariable("ORVANE_PASSWORD");
    const std::optional<QString> typed = typedPassword(u"Password for %1: "_s.arg(user));
    if (!typed)
        refuse(
            u"no password for \"%1\": set ORVANE_PASSWORD, use --password-file, or enter it at a terminal"_s.arg(user));
    return *typed;
}

std::optional<CommandRequest> makeLogin(const Settings& settings)
{
    if (settings.has("no-login"))
        return std::nullopt;
    const bool isSystem = !settings.has("user");
    const QString user = isSystem ? OrvaneInterface::SystemUserName : settings.get("user");
    if (user.isEmpty())
        refuse(u"--user is empty"_s);
    const QString password = isSystem ? OrvaneInterface::SystemPassword : passwordOf(user, settings);
    return requestFromWords({LoginCommand, u"username="_s + user, u"password="_s + password});
}

QString certificateText(const QSslCertificate& certificate)
{
    const auto date = [](const QDateTime& time) { return time.toUTC().toString(Qt::ISODate); };
    return u"Subject: %1\nIssuer: %2\nValid from: %3\nValid until: %4\nSHA-256 fingerprint: %5\n"_s.arg(
        certificate.subjectDisplayName(), certificate.issuerDisplayName(), date(certificate.effectiveDate()),
        date(certificate.expiryDate()), fingerprintOf(certificate));
}

ReplyFormat formatOf(const Settings& settings)
{
    if (settings.has("json") || settings.has("quiet"))
        return settings.has("json") ? ReplyFormat::Json : ReplyFormat::Nothing;
    const bool isIndented = settings.has("pretty") || (isTerminal(stdout) && !settings.has("raw"));
    return isIndented ? ReplyFormat::Indented : ReplyFormat::Raw;
}

CommandRequest makeRequest(const Settings& settings)
{
    if (!settings.has("file"))
        return checkedRequest(settings.words, settings.has("force"));
    QFile file(settings.get("file"));
    openInput(file, {});
    return requestFromDocument(file.readAll(), settings.get("file"));
}

/// Sends one command and prints its answer.
ExitStatus runCommand(Host& host)
{
    CommandRequest request = makeRequest(host.settings);
    if (host.settings.has("wait")) {
        request.answerRoot = host.settings.get("wait");
        request.awaitsNotice = true;
    }
    host.listener = [&](const Reply& reply) { host.console.reply(reply); };
    host.exchange(request);
    return ExitStatus::Success;
}

/// Without a command, watch queries both lists.
QList<CommandRequest> makeQueries(const Settings& settings)
{
    if (settings.words.size() > 1)
        return {checkedRequest(settings.words.mid(1), settings.has("force"))};
    return {requestFromWords({u"getRecorderList"_s}), requestFromWords({u"getPresetsList"_s})};
}

/// Prints notices and changed answers to queries, until a signal.
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
    host.listener = [&](const Reply& reply) {
        if (reply.root == RefreshFinishedNotice || std::exchange(answers[asked], reply.raw) != reply.raw)
            console.reply(reply);
    };
    const auto tellNewProblem = [&](const Outcome& result) {
        const bool isNew = std::exchange(problems[asked], result.problem) != result.problem;
        if (isNew && !result.problem.isEmpty() && caughtSignal == 0)
            console.problem(result.problem);
        const bool isHopeless = result.status == ExitStatus::NoConnection && !result.mayPass;
        if (isHopeless || result.status == ExitStatus::NotLoggedIn)
            throw Outcome {result.status}; // already reported
    };
    while (caughtSignal == 0) {
        const bool wasConnected = host.isConnected();
        asked.clear();
        tellNewProblem(attempt([&] { host.logIn(); }));
        if (host.isConnected() && !wasConnected)
            console.problem(u"connected to %1"_s.arg(host.settings.address()));
        for (const CommandRequest& query : queries) {
            asked = query.document;
            if (host.isConnected() && caughtSignal == 0)
                tellNewProblem(attempt([&] { host.exchange(query); }));
        }
        host.waitUntil([&] { return !host.isConnected(); }, host.isConnected() ? interval : 1s);
    }
    return ExitStatus::Success;
}

ExitStatus runTask(const Settings& settings, Console& console)
{
    static const QMap<QString, ExitStatus (*)(Host&)> tasks = {{u"check"_s, &runCheck}, {u"watch"_s, &runWatch},
        {u"one command"_s, &runCommand}, {u"lines of commands"_s, &runLines}};
    console.setFormat(formatOf(settings));
    Host host(settings, console, makeLogin(settings));
    return tasks[settings.task](host);
}

ExitStatus run(const Settings& settings, Console& console)
{
    if (settings.has("help"))
        console.text(programHelp());
    else if (settings.has("version"))
        console.text(u"orvane-client %1\n"_s.arg(QStringLiteral(ORVANE_CLIENT_VERSION)));
    else if (settings.task == "help"_L1)
        console.text(helpOn(settings.words.mid(1).join(u' ')));
    else if (settings.has("forget"))
        forget(settings);
    else if (settings.has("show-certificate"))
        console.text(certificateText(Host(settings, console, {}).connect()));
    else
        return runTask(settings, console);
    return ExitStatus::Success;
}

} // namespace

int main(int argc, char** argv)
{
    prepareProcess();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"orvane-client"_s);
    Console console(isTerminal(stdout));
    try {
        return static_cast<int>(run(Settings(QCoreApplication::arguments().mid(1)), console));
    } catch (const Outcome& outcome) {
        const QString problem = caughtSignal != 0 ? u"interrupted"_s : outcome.problem; // it did not time out
        if (!outcome.problem.isEmpty())
            console.problem(outcome.status == ExitStatus::UsageError ? problem + u" (see --help)"_s : problem);
        return static_cast<int>(outcome.status);
    }
}
