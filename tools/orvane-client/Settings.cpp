#include "Settings.h"

#include "Command.h"
#include "Outcome.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>

#include <cmath>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

QList<QCommandLineOption> programOptions()
{
    return {
        {{u"H"_s, u"host"_s}, u"Host or HOST:PORT (default: 127.0.0.1)."_s, u"HOST"_s},
        {{u"p"_s, u"port"_s}, u"Port of the host (default: %1)."_s.arg(OrvaneInterface::DefaultPort), u"PORT"_s},
        {{u"u"_s, u"user"_s}, u"Log in with this account (default: --system)."_s, u"NAME"_s},
        {u"password-file"_s, u"Read the password from the first line of FILE; - is standard input."_s, u"FILE"_s},
        {u"system"_s, u"Log in with the protocol's system account, which needs no password."_s},
        {u"fingerprint"_s, u"Trust only the certificate with this fingerprint."_s, u"SHA256"_s},
        {u"ca"_s, u"Trust only the certificates in FILE and those that they signed."_s, u"FILE"_s},
        {u"insecure"_s, u"Trust any certificate; an attacker in between can read and change everything."_s},
        {u"trust-on-first-use"_s, u"Trust and remember the certificate of an unknown host."_s},
        {u"timeout"_s, u"Time limit for connecting, and for each answer (default: 5; a refresh: 60)."_s, u"SECONDS"_s},
        {u"no-login"_s, u"Send without logging in first."_s},
        {u"profile"_s, u"Read unset options from this profile."_s, u"NAME"_s},
        {u"forget"_s, u"Forget the certificate of a known host, and exit."_s, u"HOST"_s},
        {u"show-certificate"_s, u"Show the host's certificate with its fingerprint, and exit."_s},
        {u"file"_s, u"Send the document in FILE as it is; - is standard input."_s, u"FILE"_s},
        {u"wait"_s, u"Wait for a message with this root element instead of the answer."_s, u"NAME"_s},
        {u"retry"_s, u"Try again every second until the host can be reached."_s},
        {u"interval"_s, u"With watch: time between queries (default: 5)."_s, u"SECONDS"_s},
        {u"apply"_s, u"With check: also send commands that change the display, and refresh the recorder list."_s},
        {u"pretty"_s, u"Print answers indented (default on a terminal)."_s},
        {u"raw"_s, u"Print answers as received (default elsewhere)."_s},
        {u"json"_s, u"Print answers as JSON, one object per line."_s},
        {{u"q"_s, u"quiet"_s}, u"Print no answers; see the exit status for the result."_s},
        {u"force"_s, u"Also send unknown commands and keys, and invalid numbers."_s},
        {u"trace"_s, u"Show what is sent (>) and received (<) on standard error."_s},
        {{u"h"_s, u"help"_s}, u"Show this help."_s},
        {u"version"_s, u"Show the version."_s},
    };
}

/// The first options, this many, are allowed in a profile.
constexpr qsizetype OptionsOfProfiles = 10;

/// The environment variables as command-line arguments.
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

/// The same for the profile; empty without one.
QStringList profileArguments(const QMap<QString, QString>& given)
{
    if (!given.contains(u"profile"_s))
        return {};
    const QString name = given.value(u"profile"_s);
    const QString file =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/orvane-client/profiles.ini"_L1;
    if (!QFileInfo(file).isReadable())
        refuse(u"no profile \"%1\": cannot read \"%2\""_s.arg(name, file));
    QSettings profiles(file, QSettings::IniFormat);
    if (profiles.status() != QSettings::NoError || !profiles.childGroups().contains(name))
        refuse(u"\"%1\" has no profile \"%2\"; it has: %3"_s.arg(file, name, profiles.childGroups().join(", "_L1)));
    profiles.beginGroup(name);
    QStringList known;
    for (const QCommandLineOption& option : programOptions().first(OptionsOfProfiles))
        known.append(option.names().constLast());
    QStringList arguments;
    for (const QString& key : profiles.childKeys()) {
        if (!known.contains(key))
            refuse(u"unknown key \"%3\" in profile \"%1\" of \"%2\"; known keys: %4"_s.arg(
                name, file, key, known.join(", "_L1)));
        const QString value = profiles.value(key).toStringList().join(u','); // a comma does not begin a list here
        if (value != "false"_L1)
            arguments.append(value == "true"_L1 ? u"--"_s + key : u"--%1=%2"_s.arg(key, value));
    }
    return arguments;
}

} // namespace

Settings::Settings(const QStringList& arguments)
{
    const QStringList profile = profileArguments(parse(arguments));
    for (const QStringList& source : {environmentArguments(), profile, arguments})
        overlay(parse(source));
    readTask();
    if (has("password-file") && get("user").isEmpty())
        refuse(u"--password-file needs a user"_s);
}

/// The given options by their long names; the value of a flag is empty.
QMap<QString, QString> Settings::parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addOptions(programOptions());
    if (!parser.parse(QStringList(u"orvane-client"_s) + arguments))
        refuse(parser.errorText());
    words = parser.positionalArguments();
    QMap<QString, QString> given;
    for (const QCommandLineOption& option : programOptions()) {
        if (parser.isSet(option))
            given.insert(option.names().constLast(), option.valueName().isEmpty() ? QString() : parser.value(option));
    }
    return given;
}

/// An option replaces all that it excludes. An account also drops the password file, which belongs to another user.
void Settings::overlay(const QMap<QString, QString>& given)
{
    for (const QStringList& exclusive : {QStringList {u"user"_s, u"system"_s, u"no-login"_s},
             {u"fingerprint"_s, u"ca"_s, u"insecure"_s, u"trust-on-first-use"_s},
             {u"json"_s, u"pretty"_s, u"quiet"_s, u"raw"_s}, {u"file"_s, u"show-certificate"_s, u"forget"_s}}) {
        QStringList names = exclusive;
        names.removeIf([&](const QString& name) { return !given.contains(name); });
        if (names.size() > 1)
            refuse(u"--%1 and --%2 cannot be combined"_s.arg(names[0], names[1]));
        for (const QString& name : names.isEmpty() ? names : exclusive)
            values.remove(name);
        if (!names.isEmpty() && exclusive.first() == "user"_L1)
            values.remove(u"password-file"_s);
    }
    values.insert(given);
    readAddress(given.value(u"forget"_s, given.value(u"host"_s)), given.value(u"port"_s));
}

/// The host may also be host:port or [address]:port.
void Settings::readAddress(const QString& text, QString portText)
{
    static const QRegularExpression pattern(u"^(?:\\[([^\\]]*)\\]|([^:]*))(?::([^:]*))?$"_s);
    const QRegularExpressionMatch match = pattern.match(text); // no match: an IPv6 address
    if (match.hasCaptured(3) && !portText.isNull())
        refuse(u"\"%1\" already contains a port; do not use --port as well"_s.arg(text));
    if (match.hasCaptured(3))
        portText = match.captured(3);
    if (!text.isNull())
        host = match.hasMatch() ? match.captured(1) + match.captured(2) : text;
    if (!portText.isNull())
        port = portText.toUShort();
    if (host.isEmpty())
        refuse(u"--host is empty"_s);
    if (port == 0)
        refuse(u"invalid port \"%1\": use a number from 1 to 65535"_s.arg(portText));
}

void Settings::readTask()
{
    const QStringList own = {u"help"_s, u"watch"_s, u"check"_s};
    const bool isOne = !words.isEmpty() || has("file");
    task = own.contains(words.value(0)) ? words.first() : isOne ? u"one command"_s : u"lines of commands"_s;
    for (const char* const option : {"file", "show-certificate", "forget"}) {
        if (has(option) && !words.isEmpty())
            refuse(u"the command \"%1\" and --%2 cannot be combined"_s.arg(words.first(), QString::fromLatin1(option)));
    }
    for (const auto& [option, where] :
        {std::pair {"wait", "one command"_L1}, {"apply", "check"_L1}, {"interval", "watch"_L1}}) {
        if (has(option) && task != where)
            refuse(u"--%1 works only with %2"_s.arg(QString::fromLatin1(option), where));
    }
}

std::chrono::milliseconds Settings::duration(const char* option) const
{
    constexpr double longest = 24.0 * 60 * 60;
    bool isNumber = false;
    const double seconds = has(option) ? get(option).toDouble(&isNumber) : 5;
    if (has(option) && (!isNumber || !(seconds > 0 && seconds <= longest)))
        refuse(u"invalid %2 \"%1\": use a number of seconds above 0, at most 86400"_s.arg(
            get(option), QString::fromLatin1(option)));
    return std::chrono::milliseconds(std::llround(std::ceil(seconds * 1000)));
}

QString programHelp()
{
    QCommandLineParser parser;
    parser.addOptions(programOptions());
    parser.setApplicationDescription(u"Drives a host of the Orvane interface like the control system: logs in over "
                                     u"TLS, sends a command, and prints\n"
                                     "the answer. Without a command it reads commands from a prompt or a pipe."_s);
    parser.addPositionalArgument(
        u"command"_s, u"A command listed below, check, watch [command], or help."_s, u"[command"_s);
    parser.addPositionalArgument(u"key=value"_s, u"Its parameters, any number of them."_s, u"[key=value...]]"_s);
    return parser.helpText() + "\nCommands:\n"_L1 + helpOn({})
        + "\nSee the manual page, orvane-client(1), for details.\n"_L1;
}

} // namespace OrvaneClient
