#include "Promises.h"

#include "RandomHost.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <map>
#include <regex>
#include <set>

using namespace Qt::StringLiterals;

namespace world {

namespace {

constexpr int64_t SlackMs = 5; // of times in the log
constexpr int64_t StormClients = 1'000;
constexpr qint64 UnsentBeforeLogin = 65'536;

std::string joined(const std::vector<std::string>& words)
{
    std::string all;
    for (const std::string& each : words)
        all += " " + each;
    return all;
}

bool isPrefix(const std::vector<std::string>& part, const std::vector<std::string>& whole)
{
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

class Judge {
public:
    Judge(const std::vector<std::string>& acts, const std::vector<Line>& log,
        const std::vector<std::unique_ptr<Peer>>& peers)
        : peers(peers)
        , seesLines(valueOf(acts.at(0), "lines") == "on")
        , seesAudit(valueOf(acts.at(0), "audit") == "on")
        , observes(valueOf(acts.at(0), "observer") == "on")
    {
        for (const std::string& each : acts)
            takeAct(each);
        for (const Line& each : log)
            takeLine(each);
    }

    std::vector<std::string> judge()
    {
        for (const std::string& each : askers)
            judgeAsker(split(each, ' '));
        for (const auto& each : peers)
            judgePeer(*each);
        // A client may close just between the library's look for that and its sending.
        check(deliveredInPart < 2, "carried-out", "of several clients that closed, not all was carried out:" + lost);
        for (const auto& [address, balance] : connections)
            check(balance == 0, "audit", address + " was not disconnected");
        check(!seesAudit || !seesLines || hasEnded || invalidLines == invalidEntries, "audit",
            std::to_string(invalidLines) + " log lines about invalid logins, but " + std::to_string(invalidEntries)
                + " audit entries");
        return breaches;
    }

private:
    /// \a words: the id of a message, and the address that the host was given for its client.
    void judgeAsker(const std::vector<std::string>& words)
    {
        const int id = std::stoi(words.at(0).substr(1));
        for (const auto& each : peers)
            check(each->id != id || each->address == words.at(1), "clients",
                words.at(0) + " was attributed to " + words.at(1));
    }

    void check(bool isKept, const char* promise, const std::string& text)
    {
        if (!isKept)
            breaches.push_back(promise + (": " + text));
    }

    void takeAct(const std::string& act)
    {
        const std::vector<std::string> words = split(act, ' ');
        storms = storms || act.find(" storm:") != std::string::npos;
        if (words.at(0) != "host")
            return;
        const std::vector<std::string> what = split(words.at(2), ':');
        if (what[0] == "limits" && what[1] != "none")
            limits.insert(what[1]);
        asksForCertificate = asksForCertificate || (what[0] == "tls" && what[1] != "rsa" && what[1] != "elliptic");
    }

    void takeLine(const Line& line)
    {
        if (line.type == "call" && line.text[0] == 'c')
            calls[std::stoi(line.text.substr(1))].push_back(line.text);
        else if (line.type == "asker" && line.text[0] == 'c')
            askers.push_back(line.text);
        else if (line.type == "act")
            takeHostAct(line.text);
        else if (line.category == "orvane.audit" && line.type == "info")
            takeAudit(line);
        else if (line.category == "default" && line.type == "debug")
            takeDebugLine(line);
        else
            check(line.category == "-" || line.text.empty(), "quiet", line.type + " " + line.text);
    }

    void takeHostAct(const std::string& text)
    {
        const std::vector<std::string> words = split(text, ' '); // VERB:ARGUMENT in PLACE
        const std::string verb = words[0].substr(0, words[0].find(':'));
        const bool ends = is(verb, {"destroy", "renew", "close", "relisten"});
        hasEnded = hasEnded || ends;
        accepting += verb == "accepting" ? 1 : verb == "accepted" ? -1 : 0;
        const bool isOver = ends || is(verb, {"listen", "resume"}) || (accepting > 0 && verb == "shortage");
        paused = verb == "paused" || (paused && !isOver);
        if (verb != "loop")
            return;
        if (words[2].starts_with("call:c"))
            loopedIn.insert(std::stoi(words[2].substr(6)));
        else
            loopsInLines = loopsInLines || !words[2].starts_with("at:");
    }

    static bool is(const std::string& word, std::initializer_list<const char*> words)
    {
        return std::find(words.begin(), words.end(), word) != words.end();
    }

    void takeDebugLine(const Line& line)
    {
        static const std::regex Exceeded("OrvaneConnection exceeded a limit: (\\w+) (.*)");
        std::smatch found;
        // The observer is told earlier, and may begin the pause.
        if (!seesAudit && !observes && line.text.starts_with("New OrvaneConnection"))
            accept();
        invalidLines += line.text.starts_with("3rd Party") ? 1 : 0;
        if (std::regex_match(line.text, found, Exceeded))
            takeLimit(line.ms, found.str(1), found.str(2));
    }

    /// At a client's first line, in which the next pause may begin. A client that waited for a place was accepted
    /// earlier.
    void accept()
    {
        check(!paused || accepting > 0 || !limits.empty(), "pause", "a client was accepted during a pause");
    }

    bool isWhole(const std::string& address)
    {
        static const std::regex Whole("127\\.0\\.0\\.[23]:[1-9][0-9]*");
        const bool isRight = address == "unknown" || std::regex_match(address, Whole); // if it had already left
        check(isRight, "address", "a client's address is " + address);
        return isRight && address != "unknown";
    }

    void takeLimit(int64_t ms, const std::string& limit, const std::string& address)
    {
        if (!isWhole(address))
            return;
        endings.insert(address);
        for (const auto& each : peers)
            if (each->address == address)
                check(std::any_of(limits.begin(), limits.end(),
                          [&](const std::string& name) { return hasExceeded(*each, limit, limitsOf(name), ms); }),
                    "limits", "c" + std::to_string(each->id) + " was disconnected for " + limit);
    }

    bool hasExceeded(
        const Peer& peer, const std::string& limit, const OrvaneInterface::OrvaneLimits& most, int64_t ms) const
    {
        const int64_t invalid = std::count_if(peer.logins.begin(), peer.logins.end(),
            [](const std::string& each) { return each.starts_with("invalid"); });
        const int64_t clients = storms ? StormClients : std::ssize(peers);
        const bool isServed = !peer.received.empty(); // then no time-out runs any more
        const int64_t waited = isServed ? 0 : (ms - peer.connectedAt + SlackMs) * 10 / 9;
        const int64_t mostUnsent =
            peer.admitted ? most.maxUnsentBytes : std::min(most.maxUnsentBytes, UnsentBeforeLogin);
        const std::map<std::string, std::pair<int64_t, int64_t>> figures {{"maxClients", {clients, most.maxClients}},
            {"maxInvalidLogins", {invalid, most.maxInvalidLogins}},
            {"maxMessageLength", {peer.longest, most.maxMessageLength}},
            {"maxMessageLengthBeforeLogin", {peer.longest, most.maxMessageLengthBeforeLogin}},
            {"maxUnsentBytes", {peer.unsent, mostUnsent}},
            {"handshakeTimeout", {waited, most.handshakeTimeout.count()}},
            {"loginTimeout", {waited, most.loginTimeout.count()}}};
        const auto& [figure, limitsFigure] = figures.at(limit);
        return limitsFigure > 0 && figure > limitsFigure;
    }

    void takeAudit(const Line& line)
    {
        const bool ascii =
            std::all_of(line.text.begin(), line.text.end(), [](char each) { return each >= ' ' && each <= '~'; });
        const QJsonObject entry = QJsonDocument::fromJson(QByteArray::fromStdString(line.text)).object();
        const auto value = [&entry](
                               const char* key) { return entry.value(QLatin1String(key)).toString().toStdString(); };
        const std::string event = value("event");
        const std::string address = value("peer");
        check(ascii && !event.empty(), "audit", "an invalid entry: " + line.text);
        if (!isWhole(address))
            return;
        invalidEntries += event == "invalidLogin" && !entry.contains(QLatin1String("account")) ? 1 : 0;
        if (event == "connected")
            accept();
        if (event == "exceededLimit")
            takeLimit(line.ms, value("limit"), address);
        if (event == "login" || event == "invalidLogin")
            logins[address].push_back(event + " " + value("user"));
        if (event == "connected")
            check(connections[address]++ == 0, "audit", address + " was connected twice");
        if (event == "disconnected")
            check(connections[address]-- == 1, "audit", address + " was disconnected without having been connected");
        judgeEntry(entry, event, line.text);
    }

    /// At most ten entries are about messages before the login; the last entry has the number of those left out.
    void judgeEntry(const QJsonObject& entry, const std::string& event, const std::string& text)
    {
        constexpr int mostBeforeLogin = 10;
        const bool hasAccount = entry.contains("account"_L1);
        int& before = entriesBeforeLogin[entry["peer"_L1].toString()];
        if (event == "connected")
            before = 0; // an earlier client may have had the address
        if (event == "disconnected")
            check(!entry.contains("notWritten"_L1) || (entry["notWritten"_L1].toInt() > 0 && before == mostBeforeLogin),
                "audit", text);
        if (is(event, {"command", "invalidLogin", "refusedDocument"}) && !hasAccount)
            check(++before <= mostBeforeLogin, "audit", "too many entries before the login: " + text);
        if (event != "command")
            return;
        static const std::regex Outcome(
            "(show|set).*accepted|(showTrack|c[0-9]|X).*rejected|get.*answered|(getPertinent|update).*no reply"
            "|update.*rejected|rejected");
        const std::string outcome = entry["outcome"_L1].toString().toStdString();
        const std::string command = entry["command"_L1].toString().toStdString();
        check(hasAccount ? std::regex_match(command + outcome, Outcome) : outcome == "not logged in", "audit", text);
    }

    /// Whether the host, a limit or the network may have disconnected it early.
    bool mayHaveBeenEnded(const Peer& peer) const
    {
        const bool mayBeLimited = !seesLines && !seesAudit && !limits.empty();
        const bool mayBeRefused = asksForCertificate && peer.certificate != "good";
        return hasEnded || mayBeLimited || mayBeRefused || endings.contains(peer.address);
    }

    /// What was read is carried out, whatever became of the client: if a part of a record was, all of it.
    void judgeRecords(const Peer& peer, const std::string& name)
    {
        const std::vector<std::string>& made = calls[peer.id];
        std::map<int, bool> isBegun; // by record
        for (const auto& [id, record] : peer.asked) {
            const bool isMade = std::find(made.begin(), made.end(), id) != made.end();
            check(record < 0 || isMade || !isBegun[record], "carried-out",
                std::string(name).append(" sent a record that was carried out in part, without ").append(id));
            isBegun[record] = isBegun[record] || isMade;
        }
    }

    void judgePeer(const Peer& peer)
    {
        const std::string name = "c" + std::to_string(peer.id) + " (" + peer.address + "," + joined(peer.steps) + ")";
        const std::vector<std::string>& made = calls[peer.id];
        const std::vector<Peer::Call>& asked = peer.asked;
        const bool isStranger = asked.empty() && peer.predicted.empty();
        check(!isStranger || (made.empty() && peer.received.empty()), "login",
            name + " was served without a login:" + joined(made));
        check(made.size() <= asked.size()
                && std::equal(made.begin(), made.end(), asked.begin(),
                    [](const std::string& call, const Peer::Call& each) { return call == each.id; }),
            "carried-out", name + " was carried out as:" + joined(made));
        check(peer.predicted.starts_with(peer.received) && peer.updateReplies <= peer.updates, "replies",
            name + " received something unexpected: " + peer.received);
        check(isPrefix(logins[peer.address], peer.logins), "audit",
            name + " has audit entries for logins that it did not send");
        if (!peer.handshakeDone || mayHaveBeenEnded(peer))
            return;
        check(!peer.endedByHost || peer.sentNonTls, "limits", name + " was disconnected without a reason");
        check(!peer.gotStuck || peer.sentNonTls, "replies", name + " made no progress any more");
        const bool losesNothing = peer.orderly && peer.sentCloseNotify;
        if (loopsInLines || (loopedIn.contains(peer.id) && !losesNothing))
            return;
        judgeRecords(peer, name);
        const bool isInPart = made.size() < asked.size();
        if (peer.delivered && isInPart)
            lost += " " + name + joined(made) + ";";
        deliveredInPart += peer.delivered && isInPart ? 1 : 0;
        if (!peer.orderly)
            return;
        check(!isInPart, "carried-out", name + " was carried out only in part:" + joined(made));
        check(!peer.sentCloseNotify || peer.received.size() >= peer.predicted.size(), "replies",
            name + " did not receive all replies: " + peer.received);
        check(!seesAudit || logins[peer.address].size() >= peer.logins.size(), "audit",
            name + " lacks audit entries for its logins");
    }

    const std::vector<std::unique_ptr<Peer>>& peers;
    const bool seesLines;
    const bool seesAudit;
    const bool observes;
    std::vector<std::string> breaches;
    std::set<std::string> limits; ///< all that the server ever had
    std::set<std::string> endings; ///< addresses of clients that a limit disconnected
    std::set<int> loopedIn; ///< clients whose calls ran an event loop
    std::map<int, std::vector<std::string>> calls;
    std::vector<std::string> askers;
    std::map<std::string, std::vector<std::string>> logins;
    std::map<std::string, int> connections;
    std::map<QString, int> entriesBeforeLogin;
    std::string lost; ///< clients whose messages had all been received when they closed, but were carried out in part
    int deliveredInPart = 0; ///< their number
    int accepting = 0; ///< nested calls of waitForNewConnection() by the host
    int invalidLines = 0;
    int invalidEntries = 0;
    bool asksForCertificate = false; ///< at some time, or had no usable key
    bool paused = false;
    bool hasEnded = false; ///< the server was closed or destroyed at some time
    bool loopsInLines = false;
    bool storms = false;
};

} // namespace

std::vector<std::string> findBreaches(
    const std::vector<std::string>& acts, const std::vector<Line>& log, const std::vector<std::unique_ptr<Peer>>& peers)
{
    return Judge(acts, log, peers).judge();
}

} // namespace world
