#include "Settings.h"

#include "Command.h"
#include "Protocol.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <array>
#include <cmath>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

using namespace std::chrono_literals;

struct Option {
    QLatin1String name;
    QLatin1String value; ///< null: it takes none
    QLatin1String description;
    QLatin1String letter = {};
};

constexpr QLatin1String None;

constexpr std::array Options {
    Option {"host"_L1, "HOST"_L1, "Host, also HOST:PORT (default: 127.0.0.1)."_L1, "H"_L1},
    Option {"port"_L1, "PORT"_L1, "Port of the host (default: {port})."_L1, "p"_L1},
    Option {"user"_L1, "NAME"_L1, "Log in with this account (default: --system)."_L1, "u"_L1},
    Option {"password-file"_L1, "FILE"_L1, "The password is the first line of FILE; - is standard input."_L1},
    Option {"system"_L1, None, "Log in with the system account of the protocol, which needs no password."_L1},
    Option {"fingerprint"_L1, "SHA256"_L1, "Trust the host with this certificate only."_L1},
    Option {"ca"_L1, "FILE"_L1, "Trust the certificates of FILE, and those that they signed, only."_L1},
    Option {"insecure"_L1, None, "Trust any certificate: whoever is in between reads and changes everything."_L1},
    Option {"trust-on-first-use"_L1, None, "Trust the certificate of a host that is not known yet."_L1},
    Option {"timeout"_L1, "SECONDS"_L1, "For connecting, and then for the answer (default: 5, a refresh 60)."_L1},
    Option {"no-login"_L1, None, "Send without logging in first."_L1},
    Option {"profile"_L1, "NAME"_L1, "Read what is not given here from this profile."_L1},
    Option {"forget"_L1, "HOST"_L1, "Forget the certificate of a known host, and end."_L1},
    Option {"show-certificate"_L1, None, "Show the host's certificate with its fingerprint, and end."_L1},
    Option {"file"_L1, "FILE"_L1, "Send the document of FILE as it is; - is standard input."_L1},
    Option {"wait"_L1, "NAME"_L1, "Wait for a message with this root element, not for the answer."_L1},
    Option {"no-reply"_L1, None, "Wait for no answer: end when all has been sent."_L1},
    Option {"retry"_L1, None, "Try again, once a second, until the host can be reached."_L1},
    Option {"interval"_L1, "SECONDS"_L1, "With watch: between two queries (default: 5)."_L1},
    Option {"apply"_L1, None, "With check: also play what changes the display."_L1},
    Option {"pretty"_L1, None, "Print answers indented (default on a terminal)."_L1},
    Option {"raw"_L1, None, "Print answers as they came (default elsewhere)."_L1},
    Option {"json"_L1, None, "Print answers as JSON, one object a line."_L1},
    Option {"quiet"_L1, None, "Print no answers; the exit status tells."_L1, "q"_L1},
    Option {"force"_L1, None, "Send also what the protocol does not have."_L1},
    Option {"trace"_L1, None, "Show what is sent (>) and received (<) on standard error."_L1},
    Option {"help"_L1, None, "Show this help."_L1, "h"_L1},
    Option {"version"_L1, None, "Show the version."_L1},
};

/// So many, the first ones, can stand in a profile.
constexpr size_t OptionsOfProfiles = 10;

QList<QCommandLineOption> programOptions()
{
    QList<QCommandLineOption> options;
    for (const Option& option : Options) {
        QStringList names = {option.letter, option.name};
        names.removeAll(QString());
        QString description = option.description;
        description.replace("{port}"_L1, QString::number(OrvaneInterface::DefaultPort));
        options.append({names, description, option.value});
    }
    return options;
}

/// As they would stand on a command line.
QStringList environmentArguments()
{
    QStringList arguments;
    for (const char* const name : {"host", "port", "user", "ca", "fingerprint"}) {
        const QByteArray variable = "ORVANE_" + QByteArray(name).toUpper();
        if (const QString value = qEnvironmentVariable(variable.constData()); !value.isEmpty())
            arguments.append(u"--%1=%2"_s.arg(QString::fromLatin1(name), value));
    }
    return arguments;
}

QStringList profileArguments(const QString& name)
{
    const QString file =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/orvane-client/profiles.ini"_L1;
    if (!QFileInfo(file).isReadable())
        refuse(u"there is no profile \"%1\": cannot read \"%2\""_s.arg(name, file));
    QSettings profiles(file, QSettings::IniFormat);
    if (profiles.status() != QSettings::NoError || !profiles.childGroups().contains(name))
        refuse(u"\"%1\" has no profile \"%2\", but: %3"_s.arg(file, name, profiles.childGroups().join(", "_L1)));
    profiles.beginGroup(name);
    QStringList known;
    for (size_t i = 0; i < OptionsOfProfiles; ++i)
        known.append(Options[i].name);
    QStringList arguments;
    for (const QString& key : profiles.childKeys()) {
        if (!known.contains(key))
            refuse(u"the profile \"%1\" in \"%2\" has an unknown key \"%3\"; there are: %4"_s.arg(
                name, file, key, known.join(", "_L1)));
        const QString value = profiles.value(key).toStringList().join(u','); // a comma begins no list here
        if (value != "false"_L1)
            arguments.append(value == "true"_L1 ? u"--"_s + key : u"--%1=%2"_s.arg(key, value));
    }
    return arguments;
}

/// The options that are given, by their long names; the value of a flag is empty.
QMap<QString, QString> parse(const QStringList& arguments, QStringList& words)
{
    QCommandLineParser parser;
    parser.addOptions(programOptions());
    if (!parser.parse(QStringList(u"orvane-client"_s) + arguments))
        refuse(parser.errorText());
    words = parser.positionalArguments();
    QMap<QString, QString> values;
    for (const Option& option : Options) {
        if (parser.isSet(option.name))
            values.insert(option.name, option.value.isNull() ? QString() : parser.value(option.name));
    }
    return values;
}

std::chrono::milliseconds secondsIn(const QString& text, const QString& what)
{
    constexpr double longest = 24.0 * 60 * 60;
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    if (!isNumber || !(seconds > 0 && seconds <= longest))
        refuse(u"\"%1\" is no %2: it takes seconds, above 0 and up to 86400"_s.arg(text, what));
    return std::chrono::milliseconds(std::llround(std::ceil(seconds * 1000)));
}

} // namespace

Settings::Settings(const QStringList& arguments)
    : format(isatty(STDOUT_FILENO) != 0 ? ReplyFormat::Indented : ReplyFormat::Raw)
{
    const QMap<QString, QString> given = parse(arguments, words);
    QStringList none;
    overlay(parse(environmentArguments(), none));
    if (given.contains(u"profile"_s))
        overlay(parse(profileArguments(given.value(u"profile"_s)), none));
    overlay(given);
    readAction();
    if (has("fingerprint") || has("ca"))
        trust = has("ca") ? Trust::inAuthorities(get("ca")) : Trust::inFingerprint(get("fingerprint"));
    else if (has("insecure") || has("trust-on-first-use"))
        trust.kind = has("insecure") ? Trust::Kind::Any : Trust::Kind::OnFirstUse;
    if (has("json") || has("raw"))
        format = has("json") ? ReplyFormat::Json : ReplyFormat::Raw;
    else if (has("pretty") || has("quiet"))
        format = has("quiet") ? ReplyFormat::Nothing : ReplyFormat::Indented;
    if (has("timeout"))
        connectTimeout = secondsIn(get("timeout"), u"timeout"_s);
    if (has("interval"))
        interval = secondsIn(get("interval"), u"interval"_s);
    if (has("password-file") && get("user").isEmpty())
        refuse(u"--password-file goes with a user only"_s);
    if (has("wait") && !isXmlName(get("wait")))
        refuse(u"\"%1\" is no XML name to wait for"_s.arg(get("wait")));
}

/// Of options that exclude each other any replaces all: the password of a profile is that of its own user only.
void Settings::overlay(const QMap<QString, QString>& given)
{
    for (const QStringList& exclusive : {QStringList {u"user"_s, u"system"_s, u"no-login"_s},
             {u"fingerprint"_s, u"ca"_s, u"insecure"_s, u"trust-on-first-use"_s}, {u"wait"_s, u"no-reply"_s},
             {u"json"_s, u"pretty"_s, u"quiet"_s, u"raw"_s}, {u"file"_s, u"show-certificate"_s, u"forget"_s}}) {
        QStringList names = exclusive;
        names.removeIf([&](const QString& name) { return !given.contains(name); });
        if (names.size() > 1)
            refuse(u"--%1 and --%2 exclude each other"_s.arg(names[0], names[1]));
        for (const QString& name : names.isEmpty() ? names : exclusive)
            values.remove(name);
        if (!names.isEmpty() && exclusive.first() == "user"_L1)
            values.remove(u"password-file"_s);
    }
    values.insert(given);
    readAddress(given.value(u"forget"_s, given.value(u"host"_s)), given.value(u"port"_s));
}

/// The host may be host:port or [address]:port, too.
void Settings::readAddress(const QString& text, QString portText)
{
    static const QRegularExpression pattern(u"^(?:\\[([^\\]]*)\\]|([^:]*))(?::([^:]*))?$"_s);
    const QRegularExpressionMatch match = pattern.match(text); // none: an address of IPv6
    if (match.hasCaptured(3) && !portText.isNull())
        refuse(u"\"%1\" has a port already, beside --port"_s.arg(text));
    if (match.hasCaptured(3))
        portText = match.captured(3);
    if (!text.isNull())
        host = match.hasMatch() ? match.captured(1) + match.captured(2) : text;
    if (!portText.isNull())
        port = portText.toUShort();
    if (host.isEmpty())
        refuse(u"--host is empty"_s);
    if (port == 0)
        refuse(u"\"%1\" is no port: it takes a number from 1 to 65535"_s.arg(portText));
}

void Settings::readAction()
{
    static const QMap<QString, Action> actions = {
        {u"help"_s, Action::CommandHelp}, {u"watch"_s, Action::Watch}, {u"check"_s, Action::Check}};
    action = actions.value(words.value(0), words.isEmpty() && !has("file") ? Action::Lines : Action::OneCommand);
    for (const auto& [option, alone] : {std::pair {"file", Action::OneCommand},
             {"show-certificate", Action::ShowCertificate}, {"forget", Action::Forget}}) {
        if (has(option) && !words.isEmpty())
            refuse(u"\"%1\" is one command too many beside --%2"_s.arg(words.first(), QString::fromLatin1(option)));
        action = has(option) ? alone : action;
    }
    for (const auto& [option, where] : {std::pair {"wait", Action::OneCommand}, {"no-reply", Action::OneCommand},
             {"apply", Action::Check}, {"interval", Action::Watch}}) {
        if (has(option) && action != where)
            refuse(u"--%1 goes with %2 only"_s.arg(QString::fromLatin1(option),
                where == Action::Check       ? u"check"_s
                    : where == Action::Watch ? u"watch"_s
                                             : u"one command"_s));
    }
    if (has("help") || has("version"))
        action = has("help") ? Action::Help : Action::Version;
}

std::chrono::milliseconds Settings::timeoutFor(const Expectation& expectation) const
{
    return expectation.root == RefreshFinishedNotice && !has("timeout") ? 60s : connectTimeout;
}

QString programHelp()
{
    QCommandLineParser parser;
    parser.addOptions(programOptions());
    parser.setApplicationDescription(
        u"Drives a host of the Orvane interface as the control system would: logs in over TLS, sends a command, and\n"
        "prints the answer. Without a command it reads commands at a prompt or from a pipe."_s);
    parser.addPositionalArgument(
        u"command"_s, u"One of those below, check, watch [command], or help."_s, u"[command"_s);
    parser.addPositionalArgument(u"key=value"_s, u"Its parameters, in any number."_s, u"[key=value...]]"_s);
    return parser.helpText() + "\nCommands:\n"_L1 + helpOn({})
        + "\nThe manual page, orvane-client(1), tells more.\n"_L1;
}

} // namespace OrvaneClient
