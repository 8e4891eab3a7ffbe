#include "ClientWatch.h"

#include "Log.h"

#include <array>

namespace world {

namespace {

using Account = OrvaneInterface::OrvaneClient::Account;
using Type = OrvaneInterface::OrvaneClientEvent::Type;

void check(bool isKept, const std::string& text)
{
    if (!isKept)
        note("broken", "clients: " + text);
}

std::string nameOf(Type type)
{
    static constexpr std::array Names {"connected", "encrypted", "handshakeFailed", "login", "invalidLogin", "command",
        "refusedDocument", "exceededLimit", "disconnected"};
    return Names.at(static_cast<size_t>(type));
}

/// Whether \a before can have become \a after.
bool canBecome(const OrvaneInterface::OrvaneClient& before, const OrvaneInterface::OrvaneClient& after)
{
    return before.address() == after.address() && before.port() == after.port()
        && before.connectedSince() == after.connectedSince() && (!before.isEncrypted() || after.isEncrypted())
        && (before.account() == Account::None || after.account() != Account::None)
        && (before.account() != Account::System || after.account() == Account::System);
}

} // namespace

void ClientWatch::checkCurrent(const OrvaneInterface::OrvaneServer& server, quint64 asker)
{
    const OrvaneInterface::OrvaneClient current = server.currentClient();
    check(current.id() == asker,
        "in the call of " + std::to_string(asker) + ", currentClient() is " + std::to_string(current.id()));
    check(asker == 0 || (current.isEncrypted() && current.account() != Account::None),
        std::to_string(asker) + " has a call without a login");
}

std::string ClientWatch::take(const Event& event)
{
    std::string name = nameOf(event.type);
    judge(event, name + " of " + std::to_string(event.client.id()) + " " + addressOf(event.client));
    return name;
}

void ClientWatch::judge(const Event& event, const std::string& text)
{
    const quint64 id = event.client.id();
    check(id != 0, text);
    if (event.type == Type::Connected) {
        check(connected.empty() || connected.rbegin()->first < id, "a new client has too low an id: " + text);
        check(!event.client.isEncrypted() && event.client.account() == Account::None,
            "logged in or encrypted from the start: " + text);
        connected[id] = event.client;
        return;
    }
    const auto known = connected.find(id);
    check(known == connected.end() || canBecome(known->second, event.client), "an impossible change: " + text);
    const bool isLoggedIn = event.client.account() != Account::None;
    const bool isMessage = event.type == Type::LoggedIn || event.type == Type::InvalidLogin
        || event.type == Type::Command || event.type == Type::RefusedDocument;
    check(!isMessage || (known != connected.end() && known->second.isEncrypted()) || event.type == Type::Command,
        "before encryption: " + text);
    check(event.type != Type::Encrypted || event.client.isEncrypted(), text);
    check(event.type != Type::LoggedIn || isLoggedIn, "without an account: " + text);
    check(event.type != Type::Command || isLoggedIn != (event.outcome == Event::Outcome::NotLoggedIn), text);
    check(event.type != Type::HandshakeFailed || (!event.client.isEncrypted() && !isLoggedIn), text);
    if (event.type == Type::ExceededLimit || event.type == Type::Disconnected)
        judgeEnd(event, text);
    else if (known != connected.end())
        known->second = event.client;
    else // a client may leave during its command
        check(event.type == Type::Command && isLoggedIn, "after its disconnection: " + text);
}

void ClientWatch::judgeEnd(const Event& event, const std::string& text)
{
    static const QString Full = QStringLiteral("maxClients");
    const bool wasConnected = connected.erase(event.client.id()) == 1;
    const bool isFull = event.type == Type::ExceededLimit && event.reason == Full;
    const bool isReported = event.type == Type::Disconnected && endedByLimit.erase(event.client.id()) == 1;
    if (event.type == Type::ExceededLimit && !isFull)
        endedByLimit.insert(event.client.id());
    check(isFull ? !wasConnected : wasConnected != isReported, text);
}

void ClientWatch::checkClients(const OrvaneInterface::OrvaneServer& server) const
{
    const auto clients = server.clients();
    bool isSame = static_cast<size_t>(clients.size()) == connected.size();
    auto next = connected.begin();
    for (const auto& each : clients) {
        isSame = isSame && each.id() == next->first && canBecome(next->second, each);
        if (isSame)
            ++next;
    }
    check(isSame,
        std::to_string(clients.size()) + " clients, but " + std::to_string(connected.size())
            + " according to the events");
}

std::string addressOf(const OrvaneInterface::OrvaneClient& client)
{
    return client.address().toString().toStdString() + ":" + std::to_string(client.port());
}

} // namespace world
