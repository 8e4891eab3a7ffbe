#include "Settings.h"

#include "Command.h"
#include "Protocol.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QMap>
#include <QSettings>
#include <QStandardPaths>

#include <array>
#include <cmath>

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
    Option {"port"_L1, "PORT"_L1, "Port of the host (default: 5679)."_L1, "p"_L1},
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
        options.append({names, option.description, option.value});
    }
    return options;
}

/// The options of one place: the command line, a profile, or the environment.
class Place {
public:
    explicit Place(const QStringList& arguments)
    {
        parser.addOptions(programOptions());
        if (!parser.parse(QStringList(u"orvane-client"_s) + arguments))
            refuse(parser.errorText());
    }

    bool has(const char* name) const { return parser.isSet(QString::fromLatin1(name)); }
    QString get(const char* name) const { return parser.value(QString::fromLatin1(name)); }
    /// The one option of these that is given; empty if none is.
    QString oneOf(std::initializer_list<const char*> names) const;

    QCommandLineParser parser;
};

QString Place::oneOf(std::initializer_list<const char*> names) const
{
    QString given;
    for (const char* const name : names) {
        if (has(name) && !given.isEmpty())
            refuse(u"--%1 and --%2 exclude each other"_s.arg(given, QString::fromLatin1(name)));
        if (has(name))
            given = QString::fromLatin1(name);
    }
    return given;
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

QString profilesFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/orvane-client/profiles.ini"_L1;
}

QStringList profileArguments(const QString& name)
{
    const QString file = profilesFile();
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

std::chrono::milliseconds secondsIn(const QString& text, const QString& what)
{
    constexpr double longest = 24.0 * 60 * 60;
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    if (!isNumber || !(seconds > 0 && seconds <= longest))
        refuse(u"\"%1\" is no %2: it takes seconds, above 0 and up to 86400"_s.arg(text, what));
    return std::chrono::milliseconds(std::llround(std::ceil(seconds * 1000)));
}

/// Also host:port and [address]:port.
void readAddress(const Place& place, const QString& host, Settings& settings)
{
    static const QRegularExpression pattern(u"^(?:\\[([^\\]]*)\\]|([^:]*))(?::([^:]*))?$"_s);
    const QRegularExpressionMatch match = pattern.match(host); // none: an address of IPv6
    const bool hasPort = match.hasCaptured(3);
    if (hasPort && place.has("port"))
        refuse(u"\"%1\" has a port already, beside --port"_s.arg(host));
    if (!host.isNull())
        settings.host = match.hasMatch() ? match.captured(1) + match.captured(2) : host;
    if (settings.host.isEmpty())
        refuse(u"--host is empty"_s);
    if (!hasPort && !place.has("port"))
        return;
    const QString port = hasPort ? match.captured(3) : place.get("port");
    settings.port = port.toUShort();
    if (settings.port == 0)
        refuse(u"\"%1\" is no port: it takes a number from 1 to 65535"_s.arg(port));
}

/// What the place has replaces what is set. Of options that exclude each other any replaces all: the password of a
/// profile is that of its own user only.
void apply(const Place& place, Settings& settings)
{
    readAddress(place, place.get(place.has("forget") ? "forget" : "host"), settings);
    if (!place.oneOf({"user", "system", "no-login"}).isEmpty()) {
        settings.user = place.get("user");
        settings.logsIn = !place.has("no-login");
        settings.passwordFile.clear();
        if (place.has("user") && settings.user.isEmpty())
            refuse(u"--user is empty"_s);
    }
    if (place.has("password-file"))
        settings.passwordFile = place.get("password-file");
    const QString trust = place.oneOf({"fingerprint", "ca", "insecure", "trust-on-first-use"});
    if (!trust.isEmpty())
        settings.trustOption = {trust, place.get(trust.toLatin1().constData())};
    if (place.has("timeout"))
        settings.timeout = secondsIn(place.get("timeout"), u"timeout"_s);
}

Trust trustOf(const QString& option, const QString& value)
{
    if (option == "fingerprint"_L1)
        return Trust::inFingerprint(value);
    if (option == "ca"_L1)
        return Trust::inAuthorities(value);
    if (option == "insecure"_L1)
        return {Trust::Kind::Any};
    return {option.isEmpty() ? Trust::Kind::Known : Trust::Kind::OnFirstUse};
}

Action readAction(const Place& place, const QStringList& words)
{
    static const QMap<QString, Action> actions = {{u"file"_s, Action::OneCommand},
        {u"show-certificate"_s, Action::ShowCertificate}, {u"forget"_s, Action::Forget},
        {u"help"_s, Action::CommandHelp}, {u"watch"_s, Action::Watch}, {u"check"_s, Action::Check}};
    const QString option = place.oneOf({"file", "show-certificate", "forget"});
    if (!option.isEmpty() && !words.isEmpty())
        refuse(u"\"%1\" is one command too many beside --%2"_s.arg(words.first(), option));
    const Action usual = words.isEmpty() ? Action::Lines : Action::OneCommand;
    const Action action = actions.value(option.isEmpty() ? words.value(0) : option, usual);
    const QString wait = place.oneOf({"wait", "no-reply"});
    if (action != Action::OneCommand && !wait.isEmpty())
        refuse(u"--%1 goes with one command only"_s.arg(wait));
    if (action != Action::Check && place.has("apply"))
        refuse(u"--apply goes with check only"_s);
    if (action != Action::Watch && place.has("interval"))
        refuse(u"--interval goes with watch only"_s);
    return action;
}

std::optional<ReplyFormat> readFormat(const Place& place)
{
    static const QMap<QString, ReplyFormat> formats = {{u"raw"_s, ReplyFormat::Raw},
        {u"pretty"_s, ReplyFormat::Indented}, {u"json"_s, ReplyFormat::Json}, {u"quiet"_s, ReplyFormat::Nothing}};
    const QString format = place.oneOf({"raw", "pretty", "json", "quiet"});
    return format.isEmpty() ? std::nullopt : std::optional(formats.value(format));
}

} // namespace

std::chrono::milliseconds Settings::connectTimeout() const
{
    return timeout.value_or(5s);
}

std::chrono::milliseconds Settings::timeoutFor(const Expectation& expectation) const
{
    return timeout.value_or(expectation.root == RefreshFinishedNotice ? 60s : 5s);
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

Settings readSettings(const QStringList& arguments)
{
    const Place place(arguments);
    Settings settings;
    settings.words = place.parser.positionalArguments();
    if (place.has("help") || place.has("version")) {
        settings.action = place.has("help") ? Action::Help : Action::Version;
        return settings;
    }
    apply(Place(environmentArguments()), settings);
    if (place.has("profile"))
        apply(Place(profileArguments(place.get("profile"))), settings);
    apply(place, settings);
    settings.trust = trustOf(settings.trustOption.first, settings.trustOption.second);
    settings.action = readAction(place, settings.words);
    settings.format = readFormat(place);
    settings.fileName = place.get("file");
    settings.waitFor = place.get("wait");
    settings.noReply = place.has("no-reply");
    settings.retries = place.has("retry");
    settings.traces = place.has("trace");
    settings.applies = place.has("apply");
    settings.isForced = place.has("force");
    if (place.has("interval"))
        settings.interval = secondsIn(place.get("interval"), u"interval"_s);
    if (!settings.passwordFile.isEmpty() && settings.user.isEmpty())
        refuse(u"--password-file goes with a user only"_s);
    if (place.has("wait") && !isXmlName(settings.waitFor))
        refuse(u"\"%1\" is no XML name to wait for"_s.arg(settings.waitFor));
    return settings;
}

} // namespace OrvaneClient
