#include "Promises.h"

#include "RandomHost.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <map>
#include <set>

namespace world {

namespace {

constexpr int64_t SlackMs = 5; // of the times in the log

struct Period {
    int64_t begin;
    int64_t end;
};

struct Login {
    std::string event;
    std::string user;
    bool operator==(const Login&) const = default;
};

struct Ending {
    int64_t ms;
    std::string limit;
};

bool isAt(const std::string& address, int slot)
{
    return address.rfind("127.0.0.", 0) == 0 && (address.at(8) - '0') % SlotCount == slot;
}

/// Address and port of one of those who connect.
bool isWhole(const std::string& address)
{
    return (isAt(address, 0) || isAt(address, 1)) && address.find_first_not_of("0123456789", 10) == std::string::npos
        && address.compare(9, 1, ":") == 0 && address.compare(10, 1, "0") > 0;
}

bool isClients(const std::string& address)
{
    return address.at(8) < '4'; // others are the witness and storms
}

std::string joined(const std::vector<std::string>& words)
{
    std::string all;
    for (const std::string& each : words)
        all += " " + each;
    return all;
}

class Judge {
public:
    Judge(const std::vector<std::string>& acts, const std::vector<Line>& log,
        const std::vector<std::unique_ptr<Peer>>& peers)
        : peers(peers)
    {
        for (const std::string& each : acts)
            takeAct(each);
        for (const Line& each : log)
            takeLine(each);
    }

    std::vector<std::string> judge()
    {
        for (const auto& each : peers)
            judgeCommands(*each);
        for (const auto& [address, balance] : connections)
            if (balance != 0)
                breach("audit", address + " has not ended");
        if (seesAudit && seesLines && !destroys && invalidLines != invalidEntries)
            breach("audit",
                std::to_string(invalidLines) + " logins were invalid, " + std::to_string(invalidEntries)
                    + " stand in the audit trail");
        return breaches;
    }

private:
    void breach(const char* promise, const std::string& text)
    {
        breaches.push_back(std::string(promise) + ": " + text);
    }

    void takeAct(const std::string& act)
    {
        const std::vector<std::string> words = split(act, " ");
        if (words.at(0) == "world") {
            seesLines = valueOf(act, "lines") == "on";
            hasLines = seesLines;
            seesAudit = valueOf(act, "audit") == "on";
        }
        storms = storms || words.at(0) == "storm";
        if (words.at(0) != "host")
            return;
        const std::vector<std::string> what = split(words.at(2), ":");
        if (what[0] == "lines")
            seesLines = false; // not always
        hasLines = hasLines || what[0] == "lines";
        if (what[0] == "audit")
            seesAudit = false;
        if (what[0] == "limits" && what[2] != "none")
            limits[std::stoi(what[1])].insert(what[2]);
        if (what[0] == "tls" && what[2] != "rsa" && what[2] != "elliptic")
            asksForCertificate.insert(std::stoi(what[1]));
    }

    void takeLine(const Line& line)
    {
        if (line.type == "call")
            takeCall(line.text);
        else if (line.type == "act")
            takeHostAct(line);
        else if (line.category == "orvane.audit" && line.type == "info")
            takeAudit(line);
        else if (line.category == "default" && line.type == "debug")
            takeDebugLine(line);
        else if (line.type != "peer" && line.type != "broken")
            breach("quiet", line.type + " " + line.text);
    }

    void takeCall(const std::string& id)
    {
        if (id[0] == 'c')
            calls[std::stoi(id.substr(1))].push_back(id);
    }

    void takeHostAct(const Line& line)
    {
        const std::vector<std::string> words = split(line.text, " ");
        const std::vector<std::string> what = split(words[0], ":");
        const bool hasSlot = what[0] != "loop" && what[0] != "slow" && what.size() > 1 && what[1].size() == 1;
        const int slot = hasSlot ? what[1][0] - '0' : 0;
        if (what[0] == "paused")
            paused.insert(slot);
        if (what[0] == "resume" || what[0] == "relisten" || what[0] == "listen" || what[0] == "renew"
            || what[0] == "destroy" || what[0] == "close")
            paused.erase(slot);
        if (what[0] == "destroy" || what[0] == "renew") {
            destroyed[slot].push_back(line.ms);
            destroys = true;
        }
        if (what[0] == "close" || what[0] == "relisten")
            closed[slot].push_back(line.ms);
        if (what[0] != "loop")
            return;
        const std::string& place = words.at(2);
        if (place.rfind("call:c", 0) == 0)
            loopedIn.insert(std::stoi(place.substr(6)));
        else if (place.rfind("at:", 0) != 0)
            loops.push_back({line.ms, line.ms + std::stoi(what[1])});
    }

    void takeDebugLine(const Line& line)
    {
        const std::string& text = line.text;
        static const std::string New = "New OrvaneConnection from QHostAddress(\"";
        if (text.rfind(New, 0) == 0)
            accept(text.substr(New.size()));
        invalidLines += text.rfind("3rd Party", 0) == 0 ? 1 : 0;
        static const std::string Exceeded = "OrvaneConnection exceeded a limit: ";
        if (text.rfind(Exceeded, 0) == 0) {
            const std::vector<std::string> words = split(text.substr(Exceeded.size()), " ");
            words.size() == 2 ? takeLimit(line.ms, words[0], words[1]) : breach("limits", text);
        }
    }

    /// Whoever waited for a place had been accepted before.
    void accept(const std::string& address)
    {
        for (const int slot : paused)
            if (isAt(address, slot) && limits[slot].empty())
                breach("pause", "server " + std::to_string(slot) + " has accepted a client in a pause");
    }

    void takeLimit(int64_t ms, const std::string& limit, const std::string& address)
    {
        if (address == "unknown") // it had gone before it was accepted
            return;
        if (!isWhole(address))
            return breach("address", "who exceeded a limit was " + address);
        endings[address].push_back({ms, limit});
        const bool mayBeAnybodys = limit == "maxClients" || limit == "handshakeTimeout" || limit == "loginTimeout";
        if (!isClients(address) && !mayBeAnybodys)
            breach("limits", address + " exceeded " + limit);
        if (isClients(address))
            judgeEnding(ms, limit, address);
    }

    void judgeEnding(int64_t ms, const std::string& limit, const std::string& address)
    {
        const auto found =
            std::find_if(peers.begin(), peers.end(), [&address](const auto& each) { return each->address == address; });
        if (found == peers.end())
            return breach("limits", "nobody is " + address);
        const Peer& peer = **found;
        bool justified = false;
        for (const std::string& each : limits[peer.slot])
            justified = justified || hasExceeded(peer, limit, limitsOf(each), ms);
        if (!justified)
            breach("limits", "c" + std::to_string(peer.id) + " was ended for " + limit);
    }

    bool hasExceeded(
        const Peer& peer, const std::string& limit, const OrvaneInterface::OrvaneLimits& most, int64_t ms) const
    {
        qint64 invalid = 0;
        qint64 longest = 0;
        size_t unsent = 0;
        for (size_t number = 0; number < peer.messages.size(); ++number) {
            const Peer::Message& each = peer.messages[number];
            const int n = static_cast<int>(number);
            invalid += isLogin(each.letter) && !isValidLogin(each.letter) ? 1 : 0;
            const auto length = static_cast<qint64>(messageText(each.letter, peer.id, n).size());
            longest = std::max(longest, length);
            unsent += predictedReply(each.letter, peer.id, n, each.hasSystemAccount).size();
        }
        const auto waited = [&](std::chrono::milliseconds time) {
            return time.count() > 0 && ms - peer.connectedAt >= time.count() * 9 / 10 - SlackMs;
        };
        if (limit == "maxClients")
            return most.maxClients > 0 && together(peer) >= most.maxClients;
        if (limit == "maxInvalidLogins")
            return most.maxInvalidLogins > 0 && invalid > most.maxInvalidLogins;
        if (limit == "maxMessageLength")
            return most.maxMessageLength > 0 && longest > most.maxMessageLength;
        if (limit == "maxMessageLengthBeforeLogin")
            return most.maxMessageLengthBeforeLogin > 0 && longest > most.maxMessageLengthBeforeLogin;
        if (limit == "maxUnsentBytes")
            return most.maxUnsentBytes > 0 && static_cast<qint64>(unsent) > most.maxUnsentBytes;
        if (limit == "handshakeTimeout")
            return waited(most.handshakeTimeout);
        return limit == "loginTimeout" && waited(most.loginTimeout);
    }

    /// Who may have been connected at the same time, beside it; the witness and a storm, too.
    int together(const Peer& peer) const
    {
        int count = 0;
        for (const auto& each : peers)
            count += each->slot == peer.slot && each->id != peer.id && each->connectedAt != 0
                    && each->connectedAt <= peer.doneAt + SlackMs
                ? 1
                : 0;
        return storms ? 1'000 : count + 1;
    }

    void takeAudit(const Line& line)
    {
        const bool ascii =
            std::all_of(line.text.begin(), line.text.end(), [](char each) { return each >= ' ' && each <= '~'; });
        const QJsonObject entry = QJsonDocument::fromJson(QByteArray::fromStdString(line.text)).object();
        const std::string event = entry.value(QLatin1String("event")).toString().toStdString();
        const std::string peer = entry.value(QLatin1String("peer")).toString().toStdString();
        if (!ascii || event.empty())
            return breach("audit", "an entry is " + line.text);
        if (peer == "unknown") // it had gone before it was accepted
            return;
        if (!isWhole(peer))
            breach("address", "an entry is " + line.text);
        if (event == "connected" && !hasLines) // otherwise the pause may have begun in the line before it
            accept(peer);
        if (event == "exceededLimit" && !seesLines)
            takeLimit(line.ms, entry.value(QLatin1String("limit")).toString().toStdString(), peer);
        if (event == "login" || event == "invalidLogin")
            logins[peer].push_back({event, entry.value(QLatin1String("user")).toString().toStdString()});
        invalidEntries += event == "invalidLogin" && !entry.contains(QLatin1String("account")) ? 1 : 0;
        if (!seesAudit || !isWhole(peer))
            return;
        if (event == "connected" && connections[peer]++ != 0)
            breach("audit", peer + " begins twice");
        if (event == "disconnected" && connections[peer]-- != 1)
            breach("audit", peer + " ends without a beginning");
    }

    bool wasIn(const std::vector<int64_t>& times, int64_t begin, int64_t end) const
    {
        return std::any_of(times.begin(), times.end(),
            [begin, end](int64_t each) { return each >= begin - SlackMs && each <= end + SlackMs; });
    }

    /// Whether the host, a limit or the network may have ended it before its time.
    bool mayHaveBeenEnded(const Peer& peer)
    {
        if (wasIn(destroyed[peer.slot], peer.connectedAt, peer.doneAt) || endings.contains(peer.address))
            return true;
        if (!seesLines && !seesAudit && !limits[peer.slot].empty())
            return true;
        if (asksForCertificate.contains(peer.slot) && peer.certificate != "good")
            return true;
        return wasIn(closed[peer.slot], peer.connectedAt, peer.handshakeAt != 0 ? peer.handshakeAt : peer.doneAt);
    }

    /// Whether the host ran events while it had messages of the client in its hands.
    bool mayHaveBeenInterrupted(const Peer& peer) const
    {
        return loopedIn.contains(peer.id) || std::any_of(loops.begin(), loops.end(), [&peer](const Period& each) {
            return each.end >= peer.connectedAt - SlackMs && each.begin <= peer.doneAt + SlackMs;
        });
    }

    /// What was read is carried out, whatever has become of the client: in the record that ends with message \a last
    /// the last call, too, when the first one has been made.
    void judgeRecord(const Peer& peer, const std::string& name, size_t last)
    {
        std::string missing;
        bool begun = false;
        for (size_t number = last; number > 0 && peer.messages[number].record == peer.messages[last].record; --number) {
            const std::string id = messageId(peer.id, static_cast<int>(number));
            if (!peer.messages[number].admitted || !callsHost(peer.messages[number].letter))
                continue;
            const std::vector<std::string>& made = calls[peer.id];
            const bool isMade = std::find(made.begin(), made.end(), id) != made.end();
            begun = begun || isMade;
            missing += isMade ? "" : " " + id;
        }
        if (peer.messages[last].record >= 0 && begun && !missing.empty())
            breach("carried-out", name + " not all that came together, without" + missing);
    }

    void judgeCommands(const Peer& peer)
    {
        const std::string name = "c" + std::to_string(peer.id) + " (" + peer.address + "," + joined(peer.steps) + ")";
        std::vector<std::string> asked;
        std::string predicted;
        std::vector<Login> sentLogins;
        int updates = 0;
        for (size_t number = 0; number < peer.messages.size(); ++number) {
            const Peer::Message& each = peer.messages[number];
            const std::string id = messageId(peer.id, static_cast<int>(number));
            if (isLogin(each.letter))
                sentLogins.push_back({isValidLogin(each.letter) ? "login" : "invalidLogin",
                    each.letter == 'O'       ? "Orvane"
                        : each.letter == 'G' ? "operator"
                        : each.letter == 'W' ? id
                                             : ""});
            if (!each.admitted)
                continue;
            updates += each.letter == 'U' ? 1 : 0;
            if (callsHost(each.letter))
                asked.push_back(id);
            predicted += predictedReply(each.letter, peer.id, static_cast<int>(number), each.hasSystemAccount);
        }
        std::string received = peer.received;
        const bool tooManyUpdates = takeUpdateReplies(received) > updates;
        const std::vector<std::string>& carriedOut = calls[peer.id];
        const bool isPrefix =
            carriedOut.size() <= asked.size() && std::equal(carriedOut.begin(), carriedOut.end(), asked.begin());
        if (asked.empty() && predicted.empty() && (!carriedOut.empty() || !received.empty()))
            breach("login", name + " was served:" + joined(carriedOut) + received);
        else if (!isPrefix)
            breach("carried-out", name + " in this order:" + joined(carriedOut));
        if (predicted.rfind(received, 0) != 0 || tooManyUpdates)
            breach("replies", name + " has received what it was not to: " + peer.received);
        const std::vector<Login>& written = logins[peer.address];
        if (!peer.address.empty()
            && (written.size() > sentLogins.size() || !std::equal(written.begin(), written.end(), sentLogins.begin())))
            breach("audit", name + " has logins that it has not sent");
        if (peer.handshakeAt == 0 || mayHaveBeenEnded(peer))
            return;
        if (peer.endedByHost && !peer.hasSpoilt)
            breach("limits", name + " was ended without a reason");
        if (peer.waitedInVain && !peer.hasSpoilt)
            breach("replies", name + " has waited in vain");
        if (mayHaveBeenInterrupted(peer))
            return;
        for (size_t number = 1; number < peer.messages.size() && isPrefix; ++number)
            if (number + 1 == peer.messages.size() || peer.messages[number + 1].record != peer.messages[number].record)
                judgeRecord(peer, name, number);
        if (!peer.orderly)
            return;
        if (carriedOut.size() < asked.size())
            breach("carried-out", name + " only:" + joined(carriedOut));
        if (peer.saidGoodbye && received.size() < predicted.size())
            breach("replies", name + " has not received all: " + received);
        if (seesAudit && written.size() < sentLogins.size())
            breach("audit", name + " has logins that are not there");
    }

    const std::vector<std::unique_ptr<Peer>>& peers;
    std::vector<std::string> breaches;
    std::map<int, std::set<std::string>> limits; ///< that a server ever had
    std::set<int> asksForCertificate; ///< or cannot be reached, at some time
    std::set<int> paused;
    std::map<int, std::vector<int64_t>> destroyed;
    std::map<int, std::vector<int64_t>> closed;
    std::vector<Period> loops; ///< inside of lines and of calls without an id
    std::set<int> loopedIn; ///< clients in whose calls there was a loop
    std::map<int, std::vector<std::string>> calls;
    std::map<std::string, std::vector<Ending>> endings;
    std::map<std::string, std::vector<Login>> logins;
    std::map<std::string, int> connections;
    int invalidLines = 0;
    int invalidEntries = 0;
    bool seesLines = false; ///< always
    bool hasLines = false; ///< at some time
    bool seesAudit = false;
    bool destroys = false;
    bool storms = false;
};

} // namespace

std::vector<std::string> findBreaches(
    const std::vector<std::string>& acts, const std::vector<Line>& log, const std::vector<std::unique_ptr<Peer>>& peers)
{
    return Judge(acts, log, peers).judge();
}

} // namespace world
