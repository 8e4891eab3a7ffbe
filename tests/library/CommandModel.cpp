#include "CommandModel.h"

#include "ReferenceReading.h"

#include <charconv>
#include <limits>
#include <map>
#include <string>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QStringList SystemAccount {u"Orvane"_s, u"157b25b09a99c70fc75a6e79412a00b2"_s};

/// The operations of the host with their arguments: $ text, ? flag, # number, = number without hexadecimal form,
/// / and % number of 64 bits. If absent, numbers are -1, but those with % are 0.
const QStringList Operations =
    u"updateRecorderContents|getRecorderList entries|getPresetsList entries|getPertinentInfo document|"
    "showLive $recorder #camera ?alarm #splitid|showLiveAtSubsplit #splitid #camera #subsplit|setPreset $presetname|"
    "showTrackByName $recorder $track #camera /time ?alarm #splitid %limitstart %limitend|"
    "showTrackById $recorder #trackid #camera /time ?alarm #splitid %limitstart %limitend|"
    "setSplitMode =splitmode|setSplitModeByName #windowid document|setDetailViews #splitid rects objects"_s.split(u'|');

/// Replaces bytes that belong to no character, and drops a leading byte order mark.
QByteArray inUnicode(const std::string& text)
{
    return QString::fromStdString(text).toUtf8();
}

/// Ignores a plus and white space around the number. Invalid or out of range is 0; out of the range of floats,
/// infinity.
template <typename Number, typename... Base> Number numberIn(const QString& text, Base... base)
{
    QByteArray digits = text.trimmed().toUtf8();
    if (digits.startsWith('+') && !digits.startsWith("+-"))
        digits.remove(0, 1);
    Number number {};
    const auto [end, error] = std::from_chars(digits.constBegin(), digits.constEnd(), number, base...);
    if (error == std::errc::result_out_of_range && !digits.contains("e-")) // infinity() of integers is 0
        return std::numeric_limits<Number>::infinity() * static_cast<Number>(digits.startsWith('-') ? -1 : 1);
    return error == std::errc() && end == digits.constEnd() ? number : Number {};
}

} // namespace

void CommandModel::receive(Client& from, const QByteArray& message)
{
    document = QString::fromUtf8(message);
    const ReferenceReading reading(document);
    command = reading.commandName.toUtf8();
    parameters = reading.parameters;
    client = &from;
    client->steps.push_back({document, {}, {}});
    if (command == "loginClient") {
        logIn();
    } else if (client->isLoggedIn && !document.isEmpty()) {
        ask(operation());
        client->steps.back().reply += replyToCommand();
    }
}

void CommandModel::endRefresh()
{
    for (Client& each : clients) {
        if (std::exchange(each.isWaiting, false))
            each.steps.back().reply +=
                "<p:updateRecorderContentsFinished xmlns:p=\"http://www.halden.example/ravo_1_0/\" />\r\n\r\n";
    }
}

void CommandModel::logIn()
{
    const QStringList sent {parameters[u"username"_s], parameters[u"password"_s]};
    client->isSystem |= sent == SystemAccount;
    client->isLoggedIn |= client->isSystem || (sent == account && sent.first() != SystemAccount.first());
}

/// Name and arguments; empty if the command is rejected.
QStringList CommandModel::operation() const
{
    QString name = QString::fromUtf8(command);
    if (command == "setSplitMode" && argument(u"=splitmode"_s).startsWith(u'-'))
        name += u"ByName"_s;
    if (command == "showTrack" && parameters.contains(u"trackid"_s))
        name += u"ById"_s;
    else if (command == "showTrack" && parameters.contains(u"track"_s))
        name += u"ByName"_s;
    for (const QString& each : Operations) {
        if (each.section(u' ', 0, 0) == name)
            return each.split(u' ');
    }
    return {};
}

void CommandModel::ask(const QStringList& operation)
{
    if (operation.isEmpty())
        return;
    QStringList arguments;
    for (const QString& word : operation.mid(1))
        arguments += argument(word);
    client->steps.back().calls += operation.first() + u'(' + arguments.join(u", "_s) + u')';
    client->isWaiting |= command == "updateRecorderContents";
    if (host.duringCall)
        endRefresh();
    if (command == "updateRecorderContents" && !host.refreshStarts)
        client->isWaiting = false;
}

QString CommandModel::argument(const QString& word) const
{
    const QString key = word.mid(1);
    switch (word.front().unicode()) {
    case u'$':
        return u'"' + parameters[key] + u'"';
    case u'?':
        return number(key, u"0"_s) == u"0" ? u"false"_s : u"true"_s;
    case u'#':
        return number(key, u"-1"_s);
    case u'/':
        return decimal<qint64>(key, u"-1"_s);
    case u'%':
        return decimal<qint64>(key, u"0"_s);
    case u'=':
        return decimal<int>(key, u"-1"_s);
    case u'e':
        return u"0 entries"_s;
    default:
        return word == u"document" ? u'"' + document + u'"' : detailViews(word == u"rects");
    }
}

QString CommandModel::number(const QString& key, const QString& absent) const
{
    const QString text = parameters[key];
    return text.startsWith(u"0x") ? QString::number(static_cast<int>(numberIn<quint32>(text.mid(2), 16)))
                                  : decimal<int>(key, absent);
}

template <typename Number> QString CommandModel::decimal(const QString& key, const QString& absent) const
{
    return parameters.contains(key) ? QString::number(numberIn<Number>(parameters[key])) : absent;
}

QString CommandModel::detailViews(bool areRects) const
{
    std::map<int, QString> views;
    QString item = u"subsplits/subsplit/"_s;
    for (int index = 1; !decimal<int>(item + u"id"_s, u"-1"_s).startsWith(u'-'); ++index) {
        const auto corner = [&](const QString& key) { return numberIn<float>(parameters[item + key]); };
        const std::array corners {corner(u"ltx"_s), corner(u"lty"_s), corner(u"rbx"_s), corner(u"rby"_s)};
        const float area = (corners[3] - corners[1]) * (corners[2] - corners[0]);
        QStringList texts;
        for (const float each : corners)
            texts += QString::number(static_cast<double>(each));
        const QString object = decimal<qint64>(item + u"objectid"_s, u"0"_s);
        if (areRects ? object == u"0" && area > 0 : object != u"0")
            views[numberIn<int>(parameters[item + u"id"_s])] = areRects ? u'[' + texts.join(u' ') + u']' : object;
        item = u"subsplits/subsplit%1/"_s.arg(index);
    }
    QStringList entries;
    for (const auto& [id, view] : views)
        entries += QString::number(id) + u':' + view;
    return u'{' + entries.join(u' ') + u'}';
}

QByteArray CommandModel::replyToCommand() const
{
    if (command == "showTrack" && operation().isEmpty())
        return rejection(command, "showTrack command without valid track ID or track name");
    if (operation().isEmpty())
        return rejection(command, "Unknown command");
    if (command == "updateRecorderContents")
        return host.refreshStarts ? QByteArray() : rejection(command, "Recorder list update already running");
    if (command == "getRecorderList")
        return reply("getRecorderListResponse", recorders());
    if (command == "getPresetsList") {
        QByteArray presets;
        for (const auto& preset : host.presets)
            presets += "<preset name=\"" + inUnicode(preset.name) + "\" />";
        return reply("getPresetsListResponse", presets);
    }
    if (command == "getPertinentInfo") {
        const std::string whole = host.answer.value_or(std::string());
        const QByteArray answer = inUnicode(whole.substr(0, whole.find('\0')));
        return !host.answer || answer.endsWith("\r\n\r\n") ? answer : answer + "\r\n\r\n";
    }
    return command == "showLive" || command == "showTrack" ? longAcceptance() : shortAcceptance(command);
}

QByteArray CommandModel::longAcceptance() const
{
    const QString split = host.usedSplit ? QString::number(*host.usedSplit) : argument(u"#splitid"_s);
    QByteArray tag = parameters[u"commandtag"_s].toUtf8();
    tag.replace('&', "&amp;").replace('<', "&lt;").replace('>', "&gt;").replace('\r', "&#13;");
    if (parameters.contains(u"commandtag"_s))
        tag = "<commandtag>" + tag + "</commandtag>";
    return reply(
        "commandAccepted", "<command>" + command + "</command><splitid>" + split.toUtf8() + "</splitid>" + tag);
}

QByteArray CommandModel::recorders() const
{
    QByteArray text;
    for (const auto& recorder : host.recorders) {
        text += "<recorder name=\"" + inUnicode(recorder.name) + "\" ip=\"" + inUnicode(recorder.ip);
        if (client->isSystem)
            text += "\" usename=\"" + inUnicode(recorder.userName) + "\" password=\"" + inUnicode(recorder.password)
                + "\" maxnumchannels=\"" + QByteArray::number(recorder.maxNumChannels);
        text += "\">";
        for (const std::string& track : recorder.tracks)
            text += "<track name=\"" + inUnicode(track) + "\" />";
        text += "</recorder>";
    }
    return text;
}
