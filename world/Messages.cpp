#include "Messages.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>
#include <vector>

namespace world {

namespace {

constexpr qsizetype LongMessage = 30'000;
constexpr size_t LongAnswer = 20'000;
constexpr const char* End = "\r\n\r\n";
constexpr const char* SystemAttributes = R"( usename="viewer" password="apple" maxnumchannels="16")";

/// In both texts, {id} is the message's id, {n} its number, {cn} client and number in one, {ns} the namespace, {x} a
/// long filling, {system} what only the system account gets. The reply has no terminator.
struct Exchange {
    char letter;
    std::string document;
    std::string reply;
};

std::string accepted(const std::string& command)
{
    return "<p:commandAccepted{ns}><commandname>" + command + "</commandname></p:commandAccepted>";
}

std::string shown(const std::string& command)
{
    return "<p:commandAccepted{ns}><command>" + command
        + "</command><splitid>{n}</splitid><commandtag>{id}</commandtag></p:commandAccepted>";
}

std::string rejected(const std::string& command, const std::string& reason)
{
    return "<p:commandRejected{ns}><commandname>" + command + "</commandname><reason>" + reason
        + "</reason></p:commandRejected>";
}

const Exchange& exchangeOf(char letter)
{
    static const std::string Shown = "<recorder>{id}</recorder><commandtag>{id}</commandtag><splitid>{n}</splitid>";
    static const std::vector<Exchange> All {
        {'O',
            R"(<loginClient><username>Orvane</username><password>157b25b09a99c70fc75a6e79412a00b2</password></loginClient>)",
            ""},
        {'G', "<loginClient><username>operator</username><password>secret</password></loginClient>", ""},
        {'W', "<loginClient><username>{id}</username><password>wrong</password></loginClient>", ""},
        {'E', "<loginClient/>", ""},
        {'p', "<setPreset><presetname>{id}</presetname></setPreset>", accepted("setPreset")},
        {'x', "<setPreset><presetname>{id}</presetname><!--{x}--></setPreset>", accepted("setPreset")},
        {'l', "<showLive>" + Shown + "</showLive>", shown("showLive")},
        {'t', "<showTrack>" + Shown + "<track>Monday</track></showTrack>", shown("showTrack")},
        {'T', "<showTrack>" + Shown + "<trackid>7</trackid></showTrack>", shown("showTrack")},
        {'v',
            R"(<setDetailViews><splitid>{cn}</splitid><subsplits><subsplit id="{n}" objectid="5"/></subsplits></setDetailViews>)",
            accepted("setDetailViews")},
        {'s', "<showLiveAtSubsplit><camera>{cn}</camera><subsplit>{n}</subsplit></showLiveAtSubsplit>",
            accepted("showLiveAtSubsplit")},
        {'m', "<setSplitMode><splitmode>{cn}</splitmode></setSplitMode>", accepted("setSplitMode")},
        {'M', "<setSplitMode><id>{id}</id></setSplitMode>", accepted("setSplitMode")},
        {'i', "<getPertinentInfo><id>{id}</id></getPertinentInfo>", answerTo("<id>{id}</id>")},
        {'I', "<getPertinentInfo><id>{id}</id><long/></getPertinentInfo>", answerTo("<id>{id}</id><long/>")},
        {'n', "<getPertinentInfo><id>{id}</id><silent/></getPertinentInfo>", ""},
        {'R', "<getRecorderList/>",
            R"(<p:getRecorderListResponse{ns}><recorder name="North" ip="192.0.2.10"{system}><track name="Monday" /></recorder></p:getRecorderListResponse>)"},
        {'P', "<getPresetsList/>",
            R"(<p:getPresetsListResponse{ns}><preset name="Night" /></p:getPresetsListResponse>)"},
        {'U', "<updateRecorderContents/>", ""},
        {'r', "<showTrack><id>{id}</id></showTrack>",
            rejected("showTrack", "showTrack command without valid track ID or track name")},
        {'u', "<{id}/>", rejected("{id}", "Unknown command")},
        {'e', "", ""},
    };
    return *std::find_if(All.begin(), All.end(), [letter](const Exchange& each) { return each.letter == letter; });
}

std::string filled(const std::string& text, int client, int number, bool hasSystemAccount = false)
{
    return QByteArray::fromStdString(text)
        .replace("{id}", QByteArray::fromStdString(messageId(client, number)))
        .replace("{n}", QByteArray::number(number))
        .replace("{cn}", QByteArray::number(client * 1000 + number))
        .replace("{ns}", " xmlns:p=\"http://www.halden.example/ravo_1_0/\"")
        .replace("{x}", QByteArray(LongMessage, 'x'))
        .replace("{system}", hasSystemAccount ? SystemAttributes : "")
        .toStdString();
}

int eraseAll(std::string& text, const std::string& part)
{
    int count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++count)
        text.erase(at, part.size());
    return count;
}

} // namespace

std::string messageId(int client, int number)
{
    return "c" + std::to_string(client) + "-m" + std::to_string(number);
}

std::string contentOf(const std::string& document, const std::string& element)
{
    const size_t begin = document.find("<" + element + ">");
    const size_t end = document.find("</" + element + ">");
    if (end == std::string::npos)
        return {};
    return document.substr(begin + element.size() + 2, end - begin - element.size() - 2);
}

bool isLogin(char letter)
{
    return std::strchr("OGWE", letter) != nullptr;
}

bool isValidLogin(char letter)
{
    return letter == 'O' || letter == 'G';
}

bool callsHost(char letter)
{
    return std::strchr("pltTvsmMiInx", letter) != nullptr;
}

std::string messageText(char letter, int client, int number)
{
    return filled(exchangeOf(letter).document, client, number) + End;
}

std::string answerTo(const std::string& call)
{
    const size_t length = call.find("<long/>") != std::string::npos ? LongAnswer : 0;
    return "<info>" + contentOf(call, "id") + std::string(length, '.') + "</info>";
}

std::string predictedReply(char letter, int client, int number, bool hasSystemAccount)
{
    const std::string reply = filled(exchangeOf(letter).reply, client, number, hasSystemAccount);
    return reply.empty() ? reply : reply + End;
}

int takeUpdateReplies(std::string& received)
{
    static const std::string Finished = filled("<p:updateRecorderContentsFinished{ns} />", 0, 0) + End;
    static const std::string Running =
        filled(rejected("updateRecorderContents", "Recorder list update already running"), 0, 0) + End;
    return eraseAll(received, Finished) + eraseAll(received, Running);
}

} // namespace world
