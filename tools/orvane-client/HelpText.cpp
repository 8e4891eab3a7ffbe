#include "HelpText.h"

#include "CommandCatalogue.h"
#include "Options.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRegularExpression>

#include <array>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

constexpr QLatin1String Description(
    R"(Drives a host of the Orvane interface as the control system would: logs in over TLS, sends a command, and
prints the answer. Without a command it reads commands at a prompt or from a pipe.)");

constexpr QLatin1String Notation(
    R"(A parameter is key=value; it becomes an element of the document, and its value is escaped. Repeated groups are
name:field=value,field=value, one for each; "\," in a value is a comma. What the protocol does not have is not sent
without --force.
)");

struct Section {
    QLatin1String title;
    bool isProse; ///< lines mean nothing
    QLatin1String text;
};

/// What --help and the manual page have behind options and commands.
constexpr std::array Sections {
    Section {"Examples"_L1, false, QLatin1String(R"(orvane-client --show-certificate
orvane-client --fingerprint 5E:0B:... showLive recorder=R1 camera=3 commandtag=x
ORVANE_PASSWORD=... orvane-client --ca host.pem --user operator getRecorderList
orvane-client --insecure setDetailViews splitid=1 subsplit:id=0,ltx=0,lty=0,rbx=0.5,rby=0.5 subsplit:id=1,objectid=77
orvane-client --insecure --timeout 60 --wait updateRecorderContentsFinished updateRecorderContents
orvane-client --insecure --file question.xml
orvane-client --insecure --trace < commands.txt
)")},
    Section {"Checking a host"_L1, true,
        QLatin1String(
            R"("orvane-client check" plays the harmless commands against a host, with --apply all of them, and says of each what
came, how long it took, and what it means for whoever writes the host.
)")},
    Section {"Interactive mode"_L1, true,
        QLatin1String(
            R"(Lines are commands as above, with quotes and backslashes as in a shell; help and quit are lines too. The tabulator
key completes commands, keys, and the names of the host's recorders, tracks and presets. Ctrl-C drops the line or the
wait for an answer, Ctrl-D ends. When the host has closed the connection, the next command connects anew. Lines are
kept for the next time, except those with a password. From a pipe, lines that begin with # are comments, each command
waits for its answer, and all are sent even when one fails, unless the host does not accept the account or cannot be
reached any more.
"orvane-client help COMMAND" shows the keys of a command, without a host.
)")},
    Section {"JSON"_L1, false,
        QLatin1String(R"(With --json, an object for each message, by what it is. Other members may come to be.
{"reply":"accepted","command":"showLive","split":3,"tag":"x"}   split and tag only where the host gave them
{"reply":"rejected","command":"showTrack","reason":"..."}
{"reply":"recorders","recorders":[{"name":"...","ip":"...","tracks":["..."]}]}   with what else the host gave, as text
{"reply":"presets","presets":["..."]}
{"reply":"refreshFinished"}
{"reply":"other","document":"..."}                              an answer that the host wrote itself
{"reply":"unreadable","reason":"...","document":"..."}
)")},
    Section {"Environment"_L1, false,
        QLatin1String(
            R"(ORVANE_HOST, ORVANE_PORT, ORVANE_USER, ORVANE_CA, ORVANE_FINGERPRINT   where the options of these names are not given
ORVANE_PASSWORD                                                        the password of the user
)")},
    Section {"Profiles"_L1, false,
        QLatin1String(R"(In ~/.config/orvane-client/profiles.ini (or under XDG_CONFIG_HOME), a section for each:
  [north-wall]
  host=192.0.2.7
  user=operator
  password-file=/home/me/north-wall.password
  fingerprint=5E:0B:...
Other keys are port, ca, timeout, and, with true or false, system, insecure and trust-on-first-use. A value with a comma,
a semicolon, a quote or a backslash stands in double quotes, and has a backslash before the last two. What was trusted on
first use stands in ~/.local/share/orvane-client/known-hosts.
)")},
    Section {"Exit status"_L1, false,
        QLatin1String(R"(0  the command was accepted, or its answer came (from a pipe: all were)
1  wrong usage: an option, a command or a file
2  the command was rejected
3  no answer: not within the timeout, not before the host came to what was sent behind the command, or not before the
   connection was closed
4  no connection: refused, no TLS, or the certificate is not trusted
5  the answer is no well-formed XML, or too much to be read; it is printed all the same
6  what came could not be written to standard output
7  not logged in: the host does not accept the account, and answers nothing
8  check has found something that is not as the protocol has it
From a pipe the status is that of the first command that failed.
)")},
};

constexpr int NameWidth = 25;

QString row(int indent, QLatin1String name, const QString& text)
{
    return QString(indent, u' ') + QString(name).leftJustified(NameWidth - indent) + text + u'\n';
}

QString keysOf(const KnownCommand& command)
{
    QString text;
    for (const CommandKey& key : command.keys)
        text += row(6, key.name, key.meaning);
    if (command.groupFields.empty())
        return text;
    text += row(6, "subsplit:..."_L1, u"a detail view; repeat it for more. Its fields:"_s);
    for (const CommandKey& field : command.groupFields)
        text += row(8, field.name, field.meaning);
    return text;
}

QString indented(QLatin1String text)
{
    QString lines;
    for (const QString& line : QString(text).split(u'\n', Qt::SkipEmptyParts))
        lines += u"  "_s + line + u'\n';
    return lines;
}

/// Text that the formatter of manual pages shows as it is.
QString escapedForManual(QString text)
{
    text.replace(u'\\', "\\e"_L1).replace(u'-', "\\-"_L1);
    static const QRegularExpression request(u"^(?=[.'])"_s, QRegularExpression::MultilineOption);
    return text.replace(request, u"\\&"_s);
}

QString paragraph(const QString& name, const QString& text)
{
    return u".TP\n.B %1\n%2\n"_s.arg(escapedForManual(name), escapedForManual(text));
}

QString manualOf(const QCommandLineOption& option)
{
    QStringList names;
    for (const QString& name : option.names())
        names.append((name.size() == 1 ? u"-"_s : u"--"_s) + name);
    const QString value = option.valueName().isEmpty() ? QString() : u' ' + option.valueName();
    return paragraph(names.join(", "_L1) + value, option.description());
}

QString manualOf(const KnownCommand& command)
{
    QString text = u".SS %1\n%2\n"_s.arg(command.name, escapedForManual(command.purpose));
    for (const CommandKey& key : command.keys)
        text += paragraph(key.name, key.meaning);
    for (const CommandKey& field : command.groupFields)
        text += paragraph(u"%1:%2"_s.arg(DetailViewGroup, field.name), field.meaning);
    return text;
}

QString textOf(const KnownCommand& command)
{
    return row(2, command.name, command.purpose) + keysOf(command);
}

} // namespace

QString programHelp()
{
    QCommandLineParser parser;
    parser.addOptions(programOptions());
    parser.setApplicationDescription(Description);
    parser.addPositionalArgument(u"command"_s, u"Command to send, see below."_s, u"[command"_s);
    parser.addPositionalArgument(u"key=value"_s, u"Its parameters, in any number."_s, u"[key=value...]]"_s);

    QString text = parser.helpText() + "\nCommands:\n"_L1;
    for (const KnownCommand& command : knownCommands())
        text += textOf(command);
    text += u'\n' + Notation;
    for (const auto& [title, isProse, lines] : Sections)
        text += u"\n%1:\n"_s.arg(title) + indented(lines);
    return text;
}

QString manualPage()
{
    QString text =
        u".TH ORVANE-CLIENT 1 \"\" \"orvane-client %1\" \"User Commands\"\n.SH NAME\n"
        "orvane-client \\- sends commands to applications that Orvane drives\n.SH SYNOPSIS\n"
        ".B orvane-client\n.RI [ option ...]\n.RI [ command\n.RI [ key = value ...]]\n.SH DESCRIPTION\n"_s.arg(
            QCoreApplication::applicationVersion());
    text += escapedForManual(Description) + u"\n.SH OPTIONS\n"_s;
    for (const QCommandLineOption& option : programOptions())
        text += manualOf(option);
    text += u".SH COMMANDS\n"_s + escapedForManual(Notation);
    for (const KnownCommand& command : knownCommands())
        text += manualOf(command);
    for (const auto& [title, isProse, lines] : Sections)
        text += (isProse ? u".SH %1\n%2"_s : u".SH %1\n.EX\n%2.EE\n"_s)
                    .arg(QString(title).toUpper(), escapedForManual(lines));
    return text;
}

namespace {

QString commandsHelp()
{
    QString text;
    for (const KnownCommand& command : knownCommands())
        text += row(0, command.name, command.purpose);
    text += row(0, "help COMMAND"_L1, u"show the keys of a command"_s);
    text += row(0, "quit"_L1, u"end"_s);
    return text + Notation;
}

} // namespace

Result<QString> helpOn(const QString& command)
{
    if (command.isEmpty())
        return commandsHelp();
    const KnownCommand* const known = findKnownCommand(command);
    return known ? textOf(*known) : Result<QString>::failure(u"the protocol has no command \"%1\""_s.arg(command));
}

} // namespace OrvaneClient
