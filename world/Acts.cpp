#include "Acts.h"

#include <algorithm>
#include <map>
#include <random>

namespace world {

namespace {

enum Whose { Clients, Hosts, Worlds };

struct Kind {
    std::string name;
    Whose whose;
    int rarity; ///< one world in this many has it
    std::string text; ///< the steps of a client, or what the host does
};

// In texts, {a|b} is one of the two, {1..9} a number in this range, and $name the text of that name.
const std::vector<Kind>& allKinds()
{
    static const std::vector<Kind> All {
        {"orderly", Clients, 3, "$talk {close|close|fin|notify}"},
        {"abrupt", Clients, 3, "$talk {reset|leave}"},
        {"junk", Clients, 3, "{$junk sleep:{0..300}|$junk sleep:{0..50}|$junk hello|$talk $junk sleep:{0..100}} $end"},
        {"late", Clients, 3,
            "{sleep:{1..1500} $talk|hello sleep:{800..1000} send:$how:{O|G}p$some wait sleep:300 $end}"},
        {"wrong", Clients, 3, "hello send:$how:{W|E|WW|pW|EuE} send:$how:$some {notify|$end}"},
        {"stranger", Clients, 3, "hello send:$how:{p|E|u}pppp{p|W|e}pu{|p|pp|ppp|pppp} {notify|$end}"},
        {"mute", Clients, 3, "hello send:$how:G mute send:$how:I{|III{|$long}} sleep:{1..800} {reset|leave}"},
        {"touch", Clients, 3, "reset"},
        {"surplus", Clients, 15, "$talk {notified|junk:99} surplus:120 reset"},
        {"batch", Worlds, 3, ""},
        {"busy", Worlds, 3, ""},
        {"certificates", Worlds, 3, ""},
        {"storm", Worlds, 15, ""},
        {"crowd", Worlds, 60, ""},
        {"loop", Hosts, 3, "loop:{0..40}"},
        {"destroy", Hosts, 3, "{destroy|renew}"},
        {"pause", Hosts, 3, "{pause|pause|resume|accept|relisten+pause+accept}"},
        {"close", Hosts, 3, "{close|relisten|listen}"},
        {"limits", Hosts, 3, "limits:{none|room|huge|tiny|tiny}"},
        {"tls", Hosts, 3, "tls:{rsa|elliptic|elliptic|query|verify|useless}"},
        {"slow", Hosts, 3, "slow:{1..20}"},
        {"shortage", Hosts, 5, "shortage:{10..300}"},
        {"finished", Hosts, 3, "finished"},
    };
    return All;
}

class Maker {
public:
    Maker(unsigned seed, const Choice& choice)
        : random(seed)
        , limits(choice.limits)
    {
        const auto& only = choice.only;
        for (const Kind& each : allKinds())
            if (only.empty() ? below(each.rarity) == 0 : std::find(only.begin(), only.end(), each.name) != only.end())
                kinds.push_back(each);
        if (limits.empty())
            limits = has("limits") ? made("{room|huge|tiny|tiny|tiny}") : "none";
        if (has("certificates"))
            texts["cert"] = "{good|good|strange|none}";
        acts.push_back(
            "world " + std::to_string(seed) + made(" lines={off|on|on|on} audit={off|on|on} observer={off|on|on}"));
        acts.push_back("host begin limits:" + limits);
        if (has("certificates"))
            acts.push_back(made("host begin tls:{verify|query}"));
    }

    std::vector<std::string> make()
    {
        has("crowd") ? makeCrowd() : makeClients();
        texts["client"] = "{1.." + std::to_string(clients) + "}";
        if (has("storm"))
            client(made("{0..300}"), "storm:{200..1200} reset");
        if (limits != "tiny")
            acts.push_back(
                "client " + std::to_string(++clients) + " at=0 tls=13 cert=good hello send:one:G wait witness");
        const bool isBusy = has("busy");
        for (const Kind& each : kinds)
            if (each.whose == Hosts)
                for (int count = 1 + below(each.name == "slow" ? 40 : isBusy ? 18 : 6); count > 0; --count)
                    acts.push_back(made("host $place " + each.text));
        return acts;
    }

private:
    bool has(const std::string& name) const
    {
        return std::any_of(kinds.begin(), kinds.end(), [&name](const Kind& each) { return each.name == name; });
    }

    int below(int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); }

    std::string made(const std::string& text)
    {
        const size_t at = text.find_first_of("{$");
        if (at == std::string::npos)
            return text;
        const bool isName = text[at] == '$';
        const size_t end =
            isName ? text.find_first_not_of("abcdefghijklmnopqrstuvwxyz", at + 1) : endOfBraces(text, at);
        const std::string inside = text.substr(at + 1, end - at - 1);
        return text.substr(0, at) + (isName ? made(texts.at(inside)) : oneOf(inside.substr(0, inside.size() - 1)))
            + (end < text.size() ? made(text.substr(end)) : "");
    }

    static size_t endOfBraces(const std::string& text, size_t at)
    {
        int depth = 0;
        do
            depth += text[at] == '{' ? 1 : text[at] == '}' ? -1 : 0;
        while (++at < text.size() && depth > 0);
        return at;
    }

    /// One alternative of "a|b", or one number of "1..9".
    std::string oneOf(const std::string& inside)
    {
        std::vector<std::string> choices(1);
        for (size_t at = 0; at < inside.size();) {
            const size_t end = inside[at] == '{' ? endOfBraces(inside, at) : at + 1;
            if (inside[at] == '|')
                choices.emplace_back();
            else
                choices.back() += inside.substr(at, end - at);
            at = end;
        }
        const size_t dots = inside.find("..");
        if (choices.size() > 1 || dots == std::string::npos)
            return made(choices[random() % choices.size()]);
        const int first = std::stoi(inside);
        return std::to_string(first + below(std::stoi(inside.substr(dots + 2)) - first + 1));
    }

    void client(const std::string& at, const std::string& steps)
    {
        acts.push_back("client " + std::to_string(++clients) + " at=" + at + made(" tls={12|13} cert=$cert " + steps));
    }

    void makeClients()
    {
        std::vector<std::string> theirs {allKinds().front().text};
        for (const Kind& each : kinds)
            if (each.whose == Clients)
                theirs.push_back(each.text);
        const std::string when = "{0.." + made("{50..750}") + "}";
        for (int count = 3 + below(25); count > 0; --count) {
            const std::string steps = theirs[random() % theirs.size()];
            const std::string at = made(when);
            for (int batch = has("batch") && below(3) == 0 ? 2 + below(6) : 1; batch > 0; --batch)
                client(at, steps);
        }
    }

    void makeCrowd()
    {
        for (int count = 300 + below(300); count > 0; --count)
            client(made("{0..100}"), "hello send:$how:Gp sleep:700 close");
        acts.emplace_back("host each loop:700");
    }

    std::mt19937 random;
    std::string limits;
    int clients = 0;
    std::vector<Kind> kinds;
    std::vector<std::string> acts;
    std::map<std::string, std::string> texts {
        {"cert", "none"},
        {"how", "{one|one|held|pieces}"},
        {"command", "{p|l|t|T|v|s|m|M|i|I|n|R|P|U|U|r|e|x|u}"},
        {"some", "$command{|$command{|$command$command{|$some}}}"},
        {"long", "IIII{|II}{|II}{|$long}"},
        {"talk", "hello send:$how:{|||{W|E|u|p}}{O|G}{|||||||W}$some$some$more"},
        {"more", "{|||{ wait| sleep:{1..60}| send:$how:$some}$more}"},
        {"junk", "junk:{1..3000}"},
        {"end", "{reset|leave|close|fin}"},
        {"count", "{{1..3}|$client}"},
        {"place",
            "{at:{0..700}|call:$query#$count|call:c$client-m{1..5}|audit:$event#$count|event:$event#$count|line:$line#$"
            "count}"},
        {"query", "{getRecorderList|getPresetsList|updateRecorderContents}"},
        {"event",
            "{connected|encrypted|handshakeFailed|login|invalidLogin|command|refusedDocument|exceededLimit|"
            "disconnected|"
            "disconnected}"},
        {"line", "{new|new|socketerror|servererror|received|limit|orvane|invalid|unknown|notrack|message|login|tls}"},
    };
};

} // namespace

std::vector<std::string> kinds()
{
    std::vector<std::string> names;
    for (const Kind& each : allKinds())
        names.push_back(each.name);
    return names;
}

std::vector<std::string> makeActs(unsigned seed, const Choice& choice)
{
    return Maker(seed, choice).make();
}

} // namespace world
