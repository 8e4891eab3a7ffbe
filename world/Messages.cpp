#include "Messages.h"

#include <cstring>

namespace world {

namespace {

const std::string End = "\r\n\r\n";
const std::string Namespace = " xmlns:p=\"http://www.halden.example/ravo_1_0/\"";

std::string element(const std::string& name, const std::string& content)
{
    return "<p:" + name + Namespace + ">" + content + "</p:" + name + ">" + End;
}

std::string field(const char* name, const std::string& content)
{
    return std::string("<") + name + ">" + content + "</" + name + ">";
}

std::string accepted(const char* command)
{
    return element("commandAccepted", field("commandname", command));
}

std::string rejected(const std::string& command, const char* reason)
{
    return element("commandRejected", field("commandname", command) + field("reason", reason));
}

std::string login(const char* user, const char* password)
{
    return field("loginClient", field("username", user) + field("password", password));
}

int eraseAll(std::string& text, const std::string& part)
{
    int count = 0;
    for (size_t at = 0; (at = text.find(part)) != std::string::npos; ++count)
        text.erase(at, part.size());
    return count;
}

} // namespace

std::string messageId(int client, int number)
{
    return "c" + std::to_string(client) + "-m" + std::to_string(number);
}

std::string idInside(const std::string& document)
{
    const size_t begin = document.find("<id>");
    const size_t end = document.find("</id>");
    return begin < end && end != std::string::npos ? document.substr(begin + 4, end - begin - 4) : std::string();
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

static std::string document(char letter, int client, int number)
{
    const std::string id = messageId(client, number);
    const std::string idField = field("id", id);
    const std::string c = std::to_string(client);
    const std::string n = std::to_string(number);
    const std::string shown = field("recorder", id) + field("commandtag", id) + field("splitid", n);
    switch (letter) {
    case 'O':
        return login("Orvane", "157b25b09a99c70fc75a6e79412a00b2");
    case 'G':
        return login("operator", "secret");
    case 'W':
        return login(id.c_str(), "wrong");
    case 'E':
        return "<loginClient/>";
    case 'p':
        return field("setPreset", field("presetname", id));
    case 'l':
        return field("showLive", shown);
    case 't':
        return field("showTrack", shown + field("track", "Monday"));
    case 'T':
        return field("showTrack", shown + field("trackid", "7"));
    case 'v':
        return field("setDetailViews",
            field("splitid", c) + "<subsplits><subsplit id=\"" + n + "\" objectid=\"5\"/></subsplits>");
    case 's':
        return field("showLiveAtSubsplit", field("camera", c) + field("subsplit", n));
    case 'm':
        return field("setSplitMode", field("splitmode", std::to_string(client * 1000 + number)));
    case 'M':
        return field("setSplitMode", idField);
    case 'i':
        return field("getPertinentInfo", idField);
    case 'I':
        return field("getPertinentInfo", idField + "<long/>");
    case 'n':
        return field("getPertinentInfo", idField + "<silent/>");
    case 'R':
        return field("getRecorderList", idField);
    case 'P':
        return field("getPresetsList", idField);
    case 'U':
        return field("updateRecorderContents", idField);
    case 'r':
        return field("showTrack", idField);
    case 'x':
        return field("setPreset", field("presetname", id) + "<!--" + std::string(LongMessage, 'x') + "-->");
    case 'u':
        return "<" + id + "/>";
    default:
        return {};
    }
}

std::string messageText(char letter, int client, int number)
{
    return document(letter, client, number) + End;
}

std::string answerTo(const std::string& document)
{
    const size_t length = document.find("<long/>") != std::string::npos ? LongAnswer : 0;
    return "<info>" + idInside(document) + std::string(length, '.') + "</info>";
}

std::string predictedReply(char letter, int client, int number, bool hasSystemAccount)
{
    const std::string id = messageId(client, number);
    const std::string shown = field("splitid", std::to_string(number)) + field("commandtag", id);
    switch (letter) {
    case 'p':
    case 'x':
        return accepted("setPreset");
    case 'l':
        return element("commandAccepted", field("command", "showLive") + shown);
    case 't':
    case 'T':
        return element("commandAccepted", field("command", "showTrack") + shown);
    case 'v':
        return accepted("setDetailViews");
    case 's':
        return accepted("showLiveAtSubsplit");
    case 'm':
    case 'M':
        return accepted("setSplitMode");
    case 'i':
    case 'I':
        return answerTo(document(letter, client, number)) + End;
    case 'R':
        return element("getRecorderListResponse",
            std::string("<recorder name=\"North\" ip=\"192.0.2.10\"")
                + (hasSystemAccount ? " usename=\"viewer\" password=\"apple\" maxnumchannels=\"16\"" : "")
                + "><track name=\"Monday\" /></recorder>");
    case 'P':
        return element("getPresetsListResponse", "<preset name=\"Night\" />");
    case 'r':
        return rejected("showTrack", "showTrack command without valid track ID or track name");
    case 'u':
        return rejected(id, "Unknown command");
    default:
        return {};
    }
}

int takeUpdateReplies(std::string& received)
{
    return eraseAll(received, "<p:updateRecorderContentsFinished" + Namespace + " />" + End)
        + eraseAll(received, rejected("updateRecorderContents", "Recorder list update already running"));
}

} // namespace world
