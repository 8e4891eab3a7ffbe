#include "CommandCheck.h"
#include "Console.h"
#include "HelpText.h"
#include "HostCheck.h"
#include "HostSession.h"
#include "LineSource.h"
#include "Options.h"
#include "RepeatedCommand.h"
#include "Shell.h"
#include "ShellCompletion.h"
#include "Terminal.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using namespace OrvaneClient;

namespace {

/// Known to every client of Orvane: part of the protocol, not a secret.
constexpr QLatin1String SystemUser("Orvane");
constexpr QLatin1String SystemPassword("157b25b09a99c70fc75a6e79412a00b2");

/// Bytes; what is longer is no password, but perhaps a device that never ends.
constexpr qint64 LongestPassword = 4096;

int exitCode(ExitStatus status)
{
    return static_cast<int>(status);
}

int usageError(Console& console, const QString& problem)
{
    console.problem(problem + u" (--help tells more)"_s);
    return exitCode(ExitStatus::UsageError);
}

Result<CommandRequest> makeLogin(const Options& options)
{
    if (options.account == Account::System)
        return loginRequest(SystemUser, SystemPassword);
    if (!options.passwordFile.isEmpty()) {
        QFile file(options.passwordFile);
        if (!file.open(QIODevice::ReadOnly))
            return Result<CommandRequest>::failure(
                u"cannot read the password from \"%1\": %2"_s.arg(options.passwordFile, file.errorString()));
        return loginRequest(
            options.user, QString::fromUtf8(file.readLine(LongestPassword)).remove(u'\n').remove(u'\r'));
    }
    if (qEnvironmentVariableIsSet("ORVANE_PASSWORD"))
        return loginRequest(options.user, qEnvironmentVariable("ORVANE_PASSWORD"));
    const std::optional<QString> password = askForPassword(options.user);
    if (!password)
        return Result<CommandRequest>::failure(
            u"no password for \"%1\": set ORVANE_PASSWORD, name a --password-file, or give it at a terminal"_s.arg(
                options.user));
    return loginRequest(options.user, *password);
}

Result<CommandRequest> makeRequest(const Options& options)
{
    if (!options.words.isEmpty())
        return checkedRequest(options.words, options.isForced);
    QFile file(options.fileName);
    const bool opened =
        options.fileName == "-"_L1 ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!opened)
        return Result<CommandRequest>::failure(u"cannot read \"%1\": %2"_s.arg(options.fileName, file.errorString()));
    Result<CommandRequest> request = requestFromDocument(file.readAll());
    return request
        ? request
        : Result<CommandRequest>::failure(u"cannot send \"%1\": %2"_s.arg(options.fileName, request.error()));
}

Expectation makeExpectation(const Options& options, const QString& command)
{
    if (options.noReply)
        return Expectation::nothing();
    return options.waitFor.isEmpty() ? Expectation::answerOf(command) : Expectation::notice(command, options.waitFor);
}

QString certificateText(const QSslCertificate& certificate)
{
    const auto date = [](const QDateTime& time) { return time.toUTC().toString(Qt::ISODate); };
    return u"Subject: %1\nIssuer: %2\nValid from: %3\nValid until: %4\nSHA-256 fingerprint: %5\n"_s.arg(
        certificate.subjectDisplayName(), certificate.issuerDisplayName(), date(certificate.effectiveDate()),
        date(certificate.expiryDate()), fingerprintOf(certificate));
}

/// Where the program was started with one of the first three descriptors closed, the next thing that it opens would
/// stand there. Nothing can be read from these, and nothing be written.
void occupyClosedDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) == -1)
            static_cast<void>(open("/dev/null", O_RDONLY)); // gets this number, the lowest that is free
    }
}

/// What shells and the installation ask for.
int print(const QString& text)
{
    Console console(ReplyFormat::Raw);
    console.text(text);
    return exitCode(console.hasFailed() ? ExitStatus::OutputFailed : ExitStatus::Success);
}

void exitWith(ExitStatus status)
{
    QCoreApplication::exit(exitCode(status));
}

/// Asks for no trust: it is what the user decides with.
int showCertificate(const Options& given, Console& console)
{
    Options options = given;
    options.trust = ServerTrust::anyCertificate();
    HostSession session(options, std::nullopt, nullptr);
    QObject::connect(&session, &HostSession::ready, &session, [&] {
        console.text(certificateText(session.certificate()));
        exitWith(ExitStatus::Success);
    });
    QObject::connect(&session, &HostSession::broken, &session, [&](ExitStatus status, const QString& problem) {
        console.problem(problem);
        exitWith(status);
    });
    session.start();
    return QCoreApplication::exec();
}

int runOneCommand(HostSession& session, Console& console, const Options& options)
{
    const Result<CommandRequest> request = makeRequest(options);
    if (!request)
        return usageError(console, request.error());
    const Expectation expectation = makeExpectation(options, request->command);
    if (options.repetitions > 0) {
        RepeatedCommand command(session, console, *request, expectation, options.repetitions);
        QObject::connect(&command, &RepeatedCommand::ended, &command, exitWith);
        session.start();
        return QCoreApplication::exec();
    }
    SingleCommand command(session, console, *request, expectation);
    QObject::connect(&command, &SingleCommand::ended, &command, exitWith);
    session.start();
    return QCoreApplication::exec();
}

int runCheck(HostSession& session, Console& console, const Options& options)
{
    HostCheck check(session, console, options);
    QObject::connect(&check, &HostCheck::ended, &check, exitWith);
    session.start();
    return QCoreApplication::exec();
}

int runLines(HostSession& session, Console& console, const Options& options)
{
    std::unique_ptr<LineSource> source;
    if (isatty(STDIN_FILENO) != 0)
        source = std::make_unique<TerminalLineSource>(nullptr);
    else
        source = std::make_unique<PipeLineSource>(nullptr);
    console.setPrompt(source.get());
    Shell shell(session, *source, console, options.isForced);
    QObject::connect(&shell, &Shell::ended, &shell, exitWith);
    session.start();
    const int code = QCoreApplication::exec();
    console.setPrompt(nullptr);
    return code;
}

int run(const Options& options, Console& console)
{
    if (options.action == Action::Help) {
        console.text(programHelp());
        return exitCode(ExitStatus::Success);
    }
    if (options.action == Action::CommandHelp) {
        const Result<QString> text = helpOn(options.words.mid(1).join(u' '));
        if (!text)
            return usageError(console, text.error());
        console.text(*text);
        return exitCode(ExitStatus::Success);
    }
    if (options.action == Action::Version) {
        console.text(u"orvane-client %1\n"_s.arg(QCoreApplication::applicationVersion()));
        return exitCode(ExitStatus::Success);
    }
    if (options.action == Action::ShowCertificate)
        return showCertificate(options, console);

    std::optional<CommandRequest> login;
    if (options.account != Account::None) {
        const Result<CommandRequest> made = makeLogin(options);
        if (!made)
            return usageError(console, made.error());
        login = *made;
    }
    HostSession session(options, login, nullptr);
    QObject::connect(&session, &HostSession::traced, &session, [&](const QString& lines) { console.trace(lines); });
    QObject::connect(&session, &HostSession::noticed, &session, [&](const QString& what) { console.problem(what); });
    if (options.action == Action::Check)
        return runCheck(session, console, options);
    return options.action == Action::OneCommand ? runOneCommand(session, console, options)
                                                : runLines(session, console, options);
}

} // namespace

int main(int argc, char** argv)
{
    occupyClosedDescriptors();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"orvane-client"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(ORVANE_CLIENT_VERSION));

    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // a reader that has gone is told of as any other failure
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "--complete"_L1)
        return print(shellCompletions(arguments.mid(2)));
    if (arguments.value(1) == "--manual"_L1)
        return print(manualPage());
    const Result<Options> options = readOptions(arguments);
    const ReplyFormat usual = isatty(STDOUT_FILENO) != 0 ? ReplyFormat::Indented : ReplyFormat::Raw;
    Console console(options ? options->format.value_or(usual) : usual);
    if (!options)
        return usageError(console, options.error());
    const int code = run(*options, console);
    return console.hasFailed() ? exitCode(ExitStatus::OutputFailed) : code;
}
