#include "Command.h"
#include "Console.h"
#include "Host.h"
#include "Loops.h"
#include "Protocol.h"
#include "Settings.h"
#include "Terminal.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>

#include <csignal>

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using namespace OrvaneClient;

namespace {

/// Where the program was started with one of the first three descriptors closed, the next file that it opens would get
/// its number. Nothing can be read from these, and nothing be written.
void occupyClosedDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) == -1)
            static_cast<void>(open("/dev/null", O_RDONLY)); // gets this number, the lowest that is free
    }
}

/// Texts are UTF-8 whatever the environment says, as in cron jobs and containers; and what the program remembers has a
/// place in the home directory, but never in the root.
void completeEnvironment()
{
    qputenv("LC_ALL", "C.UTF-8");
    const passwd* const user = getpwuid(getuid());
    if (qEnvironmentVariableIsEmpty("HOME"))
        qputenv("HOME", user ? user->pw_dir : "/nonexistent");
}

QString password(const Settings& settings)
{
    std::optional<QString> password;
    if (settings.passwordFile == "-"_L1) {
        password = firstLineOf(STDIN_FILENO);
    } else if (!settings.passwordFile.isEmpty()) {
        QFile file(settings.passwordFile);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            refuse(u"cannot read the password from \"%1\": %2"_s.arg(settings.passwordFile, file.errorString()));
        password = firstLineOf(file.handle());
    } else if (qEnvironmentVariableIsSet("ORVANE_PASSWORD")) {
        password = qEnvironmentVariable("ORVANE_PASSWORD");
    } else {
        password = askForPassword(settings.user);
    }
    if (!password)
        refuse(u"no password for \"%1\": set ORVANE_PASSWORD, name a --password-file, or give it at a terminal"_s.arg(
            settings.user));
    return *password;
}

std::optional<CommandRequest> makeLogin(const Settings& settings)
{
    if (!settings.logsIn)
        return std::nullopt;
    const bool isSystem = settings.user.isNull();
    const QString user = isSystem ? QString(OrvaneInterface::SystemUserName) : settings.user;
    return requestFromWords({LoginCommand, "username="_L1 + user,
        "password="_L1 + (isSystem ? QString(OrvaneInterface::SystemPassword) : password(settings))});
}

CommandRequest makeRequest(const Settings& settings)
{
    if (!settings.words.isEmpty())
        return checkedRequest(settings.words, settings.isForced);
    QFile file(settings.fileName);
    const bool isInput = settings.fileName == "-"_L1;
    if (!(isInput ? file.open(STDIN_FILENO, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly)))
        refuse(u"cannot read \"%1\": %2"_s.arg(settings.fileName, file.errorString()));
    return requestFromDocument(file.readAll(), settings.fileName);
}

/// Without a command watch asks for both lists.
QList<CommandRequest> makeQueries(const Settings& settings)
{
    if (settings.words.size() > 1)
        return {checkedRequest(settings.words.mid(1), settings.isForced)};
    return {requestFromWords({u"getRecorderList"_s}), requestFromWords({u"getPresetsList"_s})};
}

/// Asks for no trust: it is what the user decides with.
ExitStatus showCertificate(Settings settings, Console& console)
{
    settings.trust = {Trust::Kind::Any};
    Host host(settings, console, std::nullopt);
    host.connect();
    const QSslCertificate certificate = host.certificate();
    const auto date = [](const QDateTime& time) { return time.toUTC().toString(Qt::ISODate); };
    console.text(u"Subject: %1\nIssuer: %2\nValid from: %3\nValid until: %4\nSHA-256 fingerprint: %5\n"_s.arg(
        certificate.subjectDisplayName(), certificate.issuerDisplayName(), date(certificate.effectiveDate()),
        date(certificate.expiryDate()), fingerprintOf(certificate)));
    return ExitStatus::Success;
}

ExitStatus runOneCommand(Host& host, Console& console, const Settings& settings, const CommandRequest& request)
{
    Expectation expected = Expectation::answerOf(request.command);
    expected.isNothing = settings.noReply;
    if (!settings.waitFor.isEmpty())
        expected = {request.command, settings.waitFor, true};
    return runCommand(host, console, request, expected);
}

ExitStatus run(const Settings& settings, Console& console)
{
    switch (settings.action) {
    case Action::Help:
        console.text(programHelp());
        return ExitStatus::Success;
    case Action::Version:
        console.text(u"orvane-client %1\n"_s.arg(QCoreApplication::applicationVersion()));
        return ExitStatus::Success;
    case Action::CommandHelp:
        console.text(helpOn(settings.words.mid(1).join(u' ')));
        return ExitStatus::Success;
    case Action::ShowCertificate:
        return showCertificate(settings, console);
    case Action::Forget:
        if (!forget(settings.address()))
            refuse(u"%1 is no known host"_s.arg(settings.address()));
        return ExitStatus::Success;
    default:
        break;
    }
    Host host(settings, console, makeLogin(settings));
    switch (settings.action) {
    case Action::Check:
        return runCheck(host, console, settings);
    case Action::Watch:
        return runWatch(host, console, settings, makeQueries(settings));
    case Action::Lines:
        return runLines(host, console, settings);
    default:
        return runOneCommand(host, console, settings, makeRequest(settings));
    }
}

/// \return the status of the program
int report(const Outcome& outcome, Console& console)
{
    const bool isUsage = outcome.status == ExitStatus::UsageError;
    if (!outcome.problem.isEmpty())
        console.problem(isUsage ? outcome.problem + u" (--help tells more)"_s : outcome.problem);
    return static_cast<int>(outcome.status);
}

} // namespace

int main(int argc, char** argv)
{
    occupyClosedDescriptors();
    completeEnvironment();
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // a reader that has gone is told of as any other failure
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"orvane-client"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(ORVANE_CLIENT_VERSION));

    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const ReplyFormat usual = isatty(STDOUT_FILENO) != 0 ? ReplyFormat::Indented : ReplyFormat::Raw;
    Console console(usual);
    try {
        const Settings settings = readSettings(arguments);
        console = Console(settings.format.value_or(usual));
        return static_cast<int>(run(settings, console));
    } catch (const Outcome& outcome) {
        return report(outcome, console);
    }
}
