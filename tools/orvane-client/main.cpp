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
    const QString fileName = settings.get("password-file");
    if (!fileName.isEmpty()) {
        QFile file(fileName);
        const bool isInput = fileName == "-"_L1;
        if (!isInput && !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            refuse(u"cannot read the password from \"%1\": %2"_s.arg(fileName, file.errorString()));
        return firstLineOf(isInput ? STDIN_FILENO : file.handle());
    }
    if (qEnvironmentVariableIsSet("ORVANE_PASSWORD"))
        return qEnvironmentVariable("ORVANE_PASSWORD");
    const std::optional<QString> typed = askForPassword(settings.get("user"));
    if (!typed)
        refuse(u"no password for \"%1\": set ORVANE_PASSWORD, name a --password-file, or give it at a terminal"_s.arg(
            settings.get("user")));
    return *typed;
}

std::optional<CommandRequest> makeLogin(const Settings& settings)
{
    if (settings.has("no-login"))
        return std::nullopt;
    if (settings.has("user") && settings.get("user").isEmpty())
        refuse(u"--user is empty"_s);
    if (settings.has("user"))
        return requestFromWords(
            {LoginCommand, u"username="_s + settings.get("user"), u"password="_s + password(settings)});
    return requestFromWords({LoginCommand, u"username="_s + OrvaneInterface::SystemUserName,
        u"password="_s + OrvaneInterface::SystemPassword});
}

CommandRequest makeRequest(const Settings& settings)
{
    const QString fileName = settings.get("file");
    if (!settings.has("file"))
        return checkedRequest(settings.words, settings.has("force"));
    QFile file(fileName);
    if (!(fileName == "-"_L1 ? file.open(STDIN_FILENO, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly)))
        refuse(u"cannot read \"%1\": %2"_s.arg(fileName, file.errorString()));
    return requestFromDocument(file.readAll(), fileName);
}

/// Without a command watch asks for both lists.
QList<CommandRequest> makeQueries(const Settings& settings)
{
    if (settings.words.size() > 1)
        return {checkedRequest(settings.words.mid(1), settings.has("force"))};
    return {requestFromWords({u"getRecorderList"_s}), requestFromWords({u"getPresetsList"_s})};
}

QString certificateText(const QSslCertificate& certificate)
{
    const auto date = [](const QDateTime& time) { return time.toUTC().toString(Qt::ISODate); };
    return u"Subject: %1\nIssuer: %2\nValid from: %3\nValid until: %4\nSHA-256 fingerprint: %5\n"_s.arg(
        certificate.subjectDisplayName(), certificate.issuerDisplayName(), date(certificate.effectiveDate()),
        date(certificate.expiryDate()), fingerprintOf(certificate));
}

ExitStatus run(Settings settings, Console& console)
{
    if (settings.action == Action::ShowCertificate)
        settings.trust.kind = Trust::Kind::Any; // it is what the user decides with
    const bool isForHost = settings.action >= Action::OneCommand;
    Host host(settings, console, isForHost ? makeLogin(settings) : std::nullopt);
    switch (settings.action) {
    case Action::Help:
        console.text(programHelp());
        break;
    case Action::Version:
        console.text(u"orvane-client %1\n"_s.arg(QCoreApplication::applicationVersion()));
        break;
    case Action::CommandHelp:
        console.text(helpOn(settings.words.mid(1).join(u' ')));
        break;
    case Action::ShowCertificate:
        host.connect();
        console.text(certificateText(host.certificate()));
        break;
    case Action::Forget:
        if (!forget(settings.address()))
            refuse(u"%1 is no known host"_s.arg(settings.address()));
        break;
    case Action::OneCommand:
        return runCommand(host, console, settings, makeRequest(settings));
    case Action::Check:
        return runCheck(host, console, settings);
    case Action::Watch:
        return runWatch(host, console, settings, makeQueries(settings));
    case Action::Lines:
        return runLines(host, console, settings);
    }
    return ExitStatus::Success;
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
    Console console;
    try {
        const Settings settings(QCoreApplication::arguments().mid(1));
        console.setFormat(settings.format);
        return static_cast<int>(run(settings, console));
    } catch (const Outcome& outcome) {
        const bool isUsage = outcome.status == ExitStatus::UsageError;
        if (!outcome.problem.isEmpty())
            console.problem(isUsage ? outcome.problem + u" (--help tells more)"_s : outcome.problem);
        return static_cast<int>(outcome.status);
    }
}
