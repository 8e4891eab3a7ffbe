#include "Options.h"

#include "CommandRequest.h"
#include "Settings.h"

#include <QCommandLineParser>
#include <QMap>

#include <cmath>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

constexpr QLatin1String DefaultHost("127.0.0.1");
constexpr quint16 DefaultPort = 5679;
constexpr QLatin1String DefaultTimeoutSeconds("5");
constexpr double LongestTimeoutSeconds = 24.0 * 60 * 60; ///< far below what a timer's milliseconds can hold

using ParsedOptions = Result<Options>;

bool isSet(const QCommandLineParser& parser, const char* name)
{
    return parser.isSet(QString::fromLatin1(name));
}

QString valueOf(const QCommandLineParser& parser, const char* name)
{
    return parser.value(QString::fromLatin1(name));
}

/// What is wrong with two options that stand together though they exclude each other; empty when no two do.
QString conflictIn(const QStringList& given)
{
    return given.size() < 2 ? QString() : u"--%1 and --%2 exclude each other"_s.arg(given[0], given[1]);
}

const QMap<QString, ReplyFormat>& formatOptions()
{
    static const QMap<QString, ReplyFormat> formats = {{u"raw"_s, ReplyFormat::Raw},
        {u"pretty"_s, ReplyFormat::Indented}, {u"json"_s, ReplyFormat::Json}, {u"names"_s, ReplyFormat::Names},
        {u"quiet"_s, ReplyFormat::Nothing}};
    return formats;
}

const QStringList& trustOptions()
{
    static const QStringList names = {u"fingerprint"_s, u"ca"_s, u"insecure"_s, u"trust-on-first-use"_s};
    return names;
}

const QStringList& accountOptions()
{
    static const QStringList names = {u"user"_s, u"system"_s, u"no-login"_s};
    return names;
}

QString conflictIn(const QCommandLineParser& parser, const Settings& settings)
{
    const QList<QStringList> exclusiveLists = {
        formatOptions().keys(),
        {u"wait"_s, u"no-reply"_s},
        {u"file"_s, u"interactive"_s, u"show-certificate"_s},
    };
    QStringList conflicts = {
        conflictIn(settings.firstOf(trustOptions())), conflictIn(settings.firstOf(accountOptions()))};
    for (QStringList names : exclusiveLists) {
        names.removeIf([&](const QString& name) { return !parser.isSet(name); });
        conflicts += conflictIn(names);
    }
    conflicts.removeAll(QString());
    return conflicts.isEmpty() ? QString() : conflicts.first();
}

QString readAddress(const Settings& settings, Options& options)
{
    options.host = settings.valueOf(u"host"_s);
    if (options.host.isEmpty())
        return u"--host is empty"_s;
    const QString port = settings.valueOf(u"port"_s);
    bool isNumber = false;
    options.port = port.toUShort(&isNumber);
    if (!isNumber || options.port == 0)
        return u"\"%1\" is no port: it takes a number from 1 to 65535"_s.arg(port);
    return {};
}

QString readTimeout(const Settings& settings, Options& options)
{
    const QString timeout = settings.valueOf(u"timeout"_s);
    bool isNumber = false;
    const double seconds = timeout.toDouble(&isNumber);
    if (!isNumber || !(seconds > 0 && seconds <= LongestTimeoutSeconds))
        return u"\"%1\" is no timeout: it takes seconds, above 0 and up to %2"_s.arg(timeout).arg(
            LongestTimeoutSeconds, 0, 'f', 0);
    options.timeout = std::chrono::milliseconds(std::llround(std::ceil(seconds * 1000)));
    return {};
}

Result<ServerTrust> trustOf(const QString& option, const Settings& settings, const Options& options)
{
    if (option == "insecure"_L1)
        return ServerTrust::anyCertificate();
    if (option == "trust-on-first-use"_L1)
        return ServerTrust::onFirstUse(u"%1:%2"_s.arg(options.host).arg(options.port));
    const QString value = settings.valueOf(option);
    return option == "ca"_L1 ? ServerTrust::authoritiesFrom(value) : ServerTrust::pinned(value);
}

/// Comes behind the address.
QString readTrust(const Settings& settings, Options& options)
{
    const QStringList given = settings.firstOf(trustOptions());
    if (given.isEmpty())
        return {};
    const Result<ServerTrust> trust = trustOf(given.first(), settings, options);
    if (!trust)
        return trust.error();
    options.trust = *trust;
    return {};
}

QString readAccount(const Settings& settings, Options& options)
{
    const QStringList given = settings.firstOf(accountOptions());
    if (settings.isOnCommandLine(u"password-file"_s) && given != QStringList(u"user"_s))
        return u"--password-file goes with a user only"_s;
    if (given.isEmpty() || given.first() == "system"_L1)
        return {};
    if (given.first() == "no-login"_L1) {
        options.account = Account::None;
        return {};
    }
    options.account = Account::Named;
    options.user = settings.valueOf(u"user"_s);
    // That of a profile is the password of its own user, and of no other.
    const QString passwordFile = u"password-file"_s;
    if (settings.isOnCommandLine(passwordFile)
        || (settings.isFromProfile(u"user"_s) && !qEnvironmentVariableIsSet("ORVANE_PASSWORD")))
        options.passwordFile = settings.valueOf(passwordFile);
    return options.user.isEmpty() ? u"--user is empty"_s : QString();
}

QString readRepetitions(const QCommandLineParser& parser, Options& options)
{
    bool isNumber = true;
    if (isSet(parser, "repeat"))
        options.repetitions = valueOf(parser, "repeat").toInt(&isNumber);
    if (!isNumber || (isSet(parser, "repeat") && options.repetitions < 1))
        return u"\"%1\" is no number of repetitions"_s.arg(valueOf(parser, "repeat"));
    return {};
}

QString readCommand(const QCommandLineParser& parser, Options& options)
{
    for (const QString& name : formatOptions().keys()) {
        if (parser.isSet(name))
            options.format = formatOptions().value(name);
    }
    options.words = parser.positionalArguments();
    options.fileName = valueOf(parser, "file");
    options.waitFor = valueOf(parser, "wait");
    options.noReply = isSet(parser, "no-reply");
    if (isSet(parser, "file") && options.fileName.isEmpty())
        return u"--file is empty"_s;
    if (isSet(parser, "wait") && !isXmlName(options.waitFor))
        return u"\"%1\" is no XML name to wait for"_s.arg(options.waitFor);

    const bool goesWithoutCommand =
        isSet(parser, "file") || isSet(parser, "interactive") || isSet(parser, "show-certificate");
    if (goesWithoutCommand && !options.words.isEmpty())
        return u"\"%1\" is one command too many beside --file, --interactive or --show-certificate"_s.arg(
            options.words.first());

    if (isSet(parser, "show-certificate"))
        options.action = Action::ShowCertificate;
    else if (!options.words.isEmpty() && options.words.first() == "help"_L1)
        options.action = Action::CommandHelp;
    else if (options.words == QStringList(u"check"_s))
        options.action = Action::Check;
    else if (isSet(parser, "file") || !options.words.isEmpty())
        options.action = Action::OneCommand;
    options.applies = isSet(parser, "apply");
    if (options.action != Action::OneCommand && (isSet(parser, "wait") || options.noReply || isSet(parser, "repeat")))
        return u"--wait, --no-reply and --repeat go with one command only"_s;
    if (options.format && (options.action == Action::Check || isSet(parser, "repeat")))
        return u"--%1 goes neither with check nor with --repeat, which print no answers"_s.arg(
            formatOptions().key(*options.format));
    if (options.action != Action::Check && options.applies)
        return u"--apply goes with check only"_s;
    return readRepetitions(parser, options);
}

} // namespace

QList<QCommandLineOption> programOptions()
{
    QList<QCommandLineOption> options;
    const auto option = [&options](const QStringList& names, const char* description, const char* valueName = nullptr,
                            const QString& defaultValue = {}) {
        options.append({names, QString::fromLatin1(description), QString::fromLatin1(valueName), defaultValue});
    };
    const auto name = [](const char* text) { return QStringList(QString::fromLatin1(text)); };

    option({u"h"_s, u"help"_s}, "Show this help.");
    option(name("version"), "Show the version.");
    option({u"H"_s, u"host"_s}, "Name or address of the host (default: 127.0.0.1).", "HOST", DefaultHost);
    option({u"p"_s, u"port"_s}, "Port of the host (default: 5679).", "PORT", QString::number(DefaultPort));
    option({u"u"_s, u"user"_s},
        "Log in with this account; the password comes from --password-file, from ORVANE_PASSWORD, or "
        "is asked for at the terminal (default: --system).",
        "NAME");
    option(name("password-file"), "The password is the first line of this file.", "FILE");
    option(name("system"),
        "Log in with the system account of the protocol, which needs no password and also sees "
        "the recorders' credentials.");
    option(name("no-login"), "Send without logging in first.");
    option(name("fingerprint"),
        "Trust the host with this certificate only. Takes what openssl prints; colons and case do not matter.",
        "SHA256");
    option(name("ca"), "Trust the certificates of this PEM file, and those that they signed, only.", "FILE");
    option(name("insecure"), "Trust any certificate. Whoever is in between reads and changes everything.");
    option(name("trust-on-first-use"),
        "Trust the certificate that the host has when it is reached for the first time, and no other one "
        "from then on.");
    option(
        name("profile"), "Take what stands neither here nor in the environment from this profile, see below.", "NAME");
    option(name("show-certificate"), "Show the host's certificate with its fingerprint, and end.");
    option(name("file"), "Send the document of this file as it is; - is standard input.", "FILE");
    option(name("wait"),
        "Wait for a message with this root element (such as updateRecorderContentsFinished) instead "
        "of the command's own answer.",
        "NAME");
    option(name("no-reply"), "Wait for no answer: end when all has been sent.");
    option(name("repeat"), "Send the command so often, one after the other, and show how long the answers took.", "N");
    option(name("apply"), "With check: play also what changes the display.");
    option(name("timeout"), "How long connecting may take, and the answer after it (default: 5; decimals are allowed).",
        "SECONDS", DefaultTimeoutSeconds);
    option(name("pretty"), "Print answers indented (default on a terminal).");
    option(name("raw"), "Print answers as they came (default elsewhere).");
    option(name("json"), "Print answers as JSON, one object a line, see below.");
    option(name("names"), "Print the names of recorders or presets alone, one a line.");
    option({u"q"_s, u"quiet"_s}, "Print no answers; the exit status tells.");
    option(name("force"), "Send also commands, keys and numbers that the protocol does not have.");
    option(name("trace"), "Show what is sent (>) and received (<) on standard error, without the login's password.");
    option({u"i"_s, u"interactive"_s},
        "Read commands at a prompt (default without a command), or from standard input when it is no terminal.");
    return options;
}

Result<Options> readOptions(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addOptions(programOptions());
    if (!parser.parse(arguments))
        return ParsedOptions::failure(parser.errorText());

    Options options;
    if (isSet(parser, "help") || isSet(parser, "version")) {
        options.action = isSet(parser, "help") ? Action::Help : Action::Version;
        return options;
    }
    const Settings settings(parser);
    QString fault = settings.fault();
    if (fault.isEmpty())
        fault = conflictIn(parser, settings);
    for (const auto read : {readAddress, readTimeout, readTrust, readAccount}) {
        if (fault.isEmpty())
            fault = read(settings, options);
    }
    if (fault.isEmpty())
        fault = readCommand(parser, options);
    if (!fault.isEmpty())
        return ParsedOptions::failure(fault);
    options.trace = isSet(parser, "trace");
    options.isForced = isSet(parser, "force");
    return options;
}

} // namespace OrvaneClient
