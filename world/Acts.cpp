#include "Acts.h"

#include "Messages.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <random>

namespace world {

const std::vector<std::string> Kinds {// of clients
    "orderly", "abrupt", "junk", "half", "wrong", "mute", "touch", "surplus", "batch", "storm", "crowd",
    // of the host
    "loop", "destroy", "pause", "close", "limits", "certificates", "tls", "slow", "shortage", "finished", "lines"};

namespace {

class Maker {
public:
    Maker(unsigned seed, const Choice& choice)
        : random(seed)
        , limits(choice.limits)
        , servers(oneIn(5) ? 2 : 1)
    {
        for (const std::string& kind : Kinds)
            if (choice.only.empty() ? oneIn(rarity(kind)) : contains(choice.only, kind))
                kinds.push_back(kind);
        if (choice.certificates)
            kinds.emplace_back("certificates");
        if (limits.empty())
            limits = !has("limits") ? "none" : oneIn(4) ? "room" : "tiny";
        acts.push_back("world " + std::to_string(seed) + " servers=" + std::to_string(servers)
            + " lines=" + (oneIn(5) ? "off" : "on") + " audit=" + (oneIn(3) ? "off" : "on")
            + " witness=" + (limits == "tiny" || oneIn(3) ? "off" : "on"));
    }

    std::vector<std::string> make()
    {
        if (limits != "none")
            host("begin", "limits:0:" + limits);
        if (has("certificates"))
            host("begin", std::string("tls:0:") + (oneIn(2) ? "verify" : "query"));
        has("crowd") ? makeCrowd() : makeClients();
        if (has("storm"))
            acts.push_back("storm slot=0 at=" + number(0, 300) + " ms=" + number(200, 1'200));
        for (const char* kind :
            {"loop", "destroy", "pause", "close", "limits", "tls", "slow", "shortage", "finished", "lines"})
            if (has(kind))
                for (int count = 1 + below(kind == std::string("slow") ? 40 : 6); count > 0; --count)
                    host(place(), what(kind));
        return acts;
    }

private:
    static bool contains(const std::vector<std::string>& list, const std::string& text)
    {
        return std::find(list.begin(), list.end(), text) != list.end();
    }

    static int rarity(const std::string& kind)
    {
        if (kind == "crowd")
            return 60;
        if (kind == "surplus" || kind == "storm" || kind == "shortage")
            return 15;
        return 3;
    }

    bool has(const std::string& kind) const { return contains(kinds, kind); }
    int below(int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); }
    bool oneIn(int count) { return below(count) == 0; }
    std::string number(int first, int last) { return std::to_string(first + below(last - first + 1)); }
    const char* oneOf(std::initializer_list<const char*> list) { return *(list.begin() + random() % list.size()); }
    void host(const std::string& place, const std::string& what) { acts.push_back("host " + place + " " + what); }

    std::string commands(int most)
    {
        std::string letters;
        for (int count = 1 + below(most); count > 0; --count)
            letters += Commands[random() % std::strlen(Commands)];
        return letters;
    }

    std::string sending(const std::string& letters)
    {
        return std::string(" send:") + oneOf({"one", "one", "held", "burst", "pieces"}) + ":" + letters;
    }

    std::string loggedIn()
    {
        std::string letters = oneIn(4) ? oneOf({"W", "E", "u", "p"}) : "";
        letters += oneOf({"O", "G"});
        if (oneIn(8))
            letters += "W";
        return " hello" + sending(letters + commands(8));
    }

    std::string talk()
    {
        std::string steps = loggedIn();
        for (int count = below(4); count > 0; --count)
            steps += oneIn(3) ? " wait"
                : oneIn(3)    ? " sleep:" + number(1, 60)
                : oneIn(4)    ? " keyupdate"
                              : sending(commands(6));
        return steps;
    }

    std::string stepsOf(const std::string& kind)
    {
        const std::string junk = " junk:" + number(1, 3'000);
        const std::string end = oneOf({" reset", " leave", " close", " fin"});
        if (kind == "abrupt")
            return talk() + oneOf({" reset", " leave"});
        if (kind == "junk")
            return oneOf({0, 0, 1, 2, 3}, junk, end);
        if (kind == "half")
            return " half sleep:" + number(1, 1'500) + (oneIn(2) ? talk() : "") + end;
        if (kind == "wrong")
            return " hello" + sending(oneOf({"W", "E", "WW", "pW", "EuE"})) + sending(commands(4))
                + oneOf({" close", " fin", " notify", " reset", " leave"});
        if (kind == "mute")
            return " hello" + sending("G") + " mute" + sending(std::string(1 + random() % 30, 'I'))
                + " sleep:" + number(1, 800) + oneOf({" reset", " leave"});
        if (kind == "touch")
            return " reset";
        if (kind == "surplus")
            return talk() + oneOf({" notified", " bad"}) + " surplus:120 reset";
        return talk() + oneOf({" close", " close", " fin", " notify"});
    }

    std::string oneOf(std::initializer_list<int> ways, const std::string& junk, const std::string& end)
    {
        switch (*(ways.begin() + below(static_cast<int>(ways.size())))) {
        case 0:
            return junk + " sleep:" + number(0, 300) + end;
        case 1:
            return junk + " hello" + end;
        case 2:
            return talk() + junk + " sleep:" + number(0, 100) + end;
        default:
            return talk() + " bad sleep:" + number(0, 100) + end;
        }
    }

    void client(const std::string& at, const std::string& steps)
    {
        const bool asked = has("certificates");
        acts.push_back("client " + std::to_string(++clients) + " slot=" + std::to_string(below(servers)) + " at=" + at
            + " tls=" + oneOf({"12", "13"}) + " cert=" + (!asked ? "none" : oneOf({"good", "good", "strange", "none"}))
            + steps);
    }

    void makeClients()
    {
        std::vector<std::string> theirs;
        for (const char* kind : {"orderly", "abrupt", "junk", "half", "wrong", "mute", "touch", "surplus"})
            if (has(kind))
                theirs.emplace_back(kind);
        theirs.emplace_back("orderly");
        const int length = 50 + below(700);
        int surpluses = 0;
        for (int count = 3 + below(25); count > 0; --count) {
            std::string kind = theirs[random() % theirs.size()];
            if (kind == "surplus" && ++surpluses > 2)
                kind = "orderly";
            const std::string at = number(0, length);
            for (int batch = has("batch") && oneIn(3) ? 2 + below(6) : 1; batch > 0; --batch)
                client(at, stepsOf(kind));
        }
    }

    void makeCrowd()
    {
        for (int count = 300 + below(300); count > 0; --count)
            client(number(0, 100), " hello" + sending("Gp") + " sleep:700 close");
        host("each", "loop:700");
    }

    std::string place()
    {
        const std::string count = std::to_string(1 + below(oneIn(2) ? 3 : clients));
        switch (below(6)) {
        case 0:
            return "at:" + number(0, 700);
        case 1:
            return std::string("call:") + oneOf({"R", "P", "U"}) + "#" + count;
        case 2:
            return std::string("audit:")
                + oneOf({"connected", "handshakeFailed", "login", "invalidLogin", "command", "exceededLimit",
                    "disconnected", "disconnected"})
                + "#" + count;
        case 3:
            return "call:" + messageId(1 + below(clients), 1 + below(5));
        default:
            return std::string("line:")
                + oneOf({"new", "new", "socketerror", "servererror", "received", "limit", "orvane", "invalid",
                    "unknown", "notrack", "message", "login", "tls"})
                + "#" + count;
        }
    }

    std::string what(const std::string& kind)
    {
        const std::string slot = ":" + std::to_string(below(servers));
        if (kind == "loop")
            return "loop:" + number(0, 40);
        if (kind == "destroy")
            return oneOf({"destroy", "renew"}) + slot;
        if (kind == "pause")
            return oneOf({"pause", "pause", "resume"}) + slot;
        if (kind == "close")
            return oneOf({"close", "relisten", "listen"}) + slot;
        if (kind == "limits")
            return "limits" + slot + ":" + oneOf({"none", "room", "tiny", "tiny"});
        if (kind == "tls")
            return "tls" + slot + ":" + oneOf({"rsa", "elliptic", "elliptic", "query", "verify", "useless"});
        if (kind == "slow")
            return "slow:" + number(1, 20);
        if (kind == "shortage")
            return "shortage:" + number(10, 300);
        if (kind == "lines")
            return oneOf({"lines", "audit"}) + std::string(":") + oneOf({"on", "off"});
        return "finished" + slot;
    }

    std::mt19937 random;
    std::string limits;
    int servers;
    int clients = 0;
    std::vector<std::string> kinds;
    std::vector<std::string> acts;
};

} // namespace

std::vector<std::string> makeActs(unsigned seed, const Choice& choice)
{
    return Maker(seed, choice).make();
}

} // namespace world
