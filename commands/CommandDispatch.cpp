#include "OrvaneConnection.h"

#include "Acceptor.h"
#include "ClientLimits.h"
#include "DebugLog.h"
#include "Protocol.h"
#include "XmlCommandReader.h"

#include <QElapsedTimer>

#include <algorithm>
#include <array>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

using EventType = OrvaneClientEvent::Type;

/// The parameters that an event reports.
QMap<QString, QString> firstParameters(const XmlCommandReader& reader)
{
    constexpr qsizetype most = 16;
    QMap<QString, QString> parameters;
    const QMap<QString, QString> all = reader.firstParameters(most, LongestText + 1);
    for (auto each = all.cbegin(); each != all.cend(); ++each)
        parameters[shortened(each.key())] = shortened(each.value());
    return parameters;
}

} // namespace

void OrvaneConnection::handleCommand(const QString& message)
{
    qCDebug(defaultLog) << "OrvaneConnection received command:";
    if (message.isEmpty() || !hostInterface)
        return;

    XmlCommandReader reader;
    reader.parseCommand(message); // a malformed document is carried out up to its first error
    const QString commandName = reader.commandName();
    if (!reader.refusalReason().isNull()) {
        refuse(commandName, reader.refusalReason());
        return;
    }
    if (commandName == "loginClient"_L1) {
        handleLoginClient(reader);
        return;
    }

    qCDebug(defaultLog) << message;
    if (!socketAttached) // a message handler may have destroyed the server, and then the host
        return;
    OrvaneClientEvent event {.type = EventType::Command, .command = commandName, .outcome = Outcome::NotLoggedIn};
    if (isLoggedIn())
        carryOut(reader, event);
    events.tell(event);
}

void OrvaneConnection::carryOut(XmlCommandReader& reader, OrvaneClientEvent& event)
{
    const Handler handler = handlerOf(event.command);
    if (handler != nullptr && events.isWanted())
        event.parameters = firstParameters(reader); // before the host's split replaces the client's
    QElapsedTimer timer;
    timer.start();
    const auto [outcome, split] = handler != nullptr ? (this->*handler)(reader) : rejectUnknown(reader);
    event.duration = std::chrono::nanoseconds(timer.nsecsElapsed());
    event.outcome = outcome;
    event.split = split;
}

/// Nothing of a refused document is carried out, not even a login, and its text is not logged.
void OrvaneConnection::refuse(const QString& commandName, QLatin1String reason)
{
    qCDebug(defaultLog) << "OrvaneConnection refused a document:" << reason.data();
    if (socketAttached)
        events.tell({.type = EventType::RefusedDocument, .reason = reason, .command = commandName});
    if (isLoggedIn())
        sendCommandRejected(commandName, reason);
}

/// The commands of a logged-in client, in the order of the documentation.
/// \return null for an unknown command
OrvaneConnection::Handler OrvaneConnection::handlerOf(const QString& commandName)
{
    struct Command {
        QLatin1String name;
        Handler handler;
    };
    static constexpr std::array commands {
        Command {"updateRecorderContents"_L1, &OrvaneConnection::handleUpdateRecorderContents},
        Command {"getRecorderList"_L1, &OrvaneConnection::handleGetRecorderList},
        Command {"getPresetsList"_L1, &OrvaneConnection::handleGetPresetsList},
        Command {"showLive"_L1, &OrvaneConnection::handleShowLive},
        Command {"showTrack"_L1, &OrvaneConnection::handleShowTrack},
        Command {"setPreset"_L1, &OrvaneConnection::handleSetPreset},
        Command {"setSplitMode"_L1, &OrvaneConnection::handleSetSplitMode},
        Command {"setDetailViews"_L1, &OrvaneConnection::handleSetDetailViews},
        Command {"showLiveAtSubsplit"_L1, &OrvaneConnection::handleShowLiveAtSubsplit},
        Command {"getPertinentInfo"_L1, &OrvaneConnection::handleGetPertinentInfo},
    };
    const auto* const found =
        std::find_if(commands.begin(), commands.end(), [&](const Command& each) { return each.name == commandName; });
    return found == commands.end() ? nullptr : found->handler;
}

OrvaneConnection::Result OrvaneConnection::rejectUnknown(XmlCommandReader& reader)
{
    qCDebug(defaultLog) << "Received unknown Orvane command:";
    return sendCommandRejected(reader.commandName(), UnknownCommand);
}

void OrvaneConnection::handleLoginClient(const XmlCommandReader& reader)
{
    const QString user = reader.stringParameter(u"username");
    const QString pass = reader.stringParameter(u"password");
    // The system account's user name is never checked against the other account. Logins are never revoked.
    const bool isSystem = user == SystemUserName;
    const bool isValid = isSystem ? pass == SystemPassword : user == userName && pass == password;
    const bool wasLoggedIn = isLoggedIn();
    orvaneLoggedIn = orvaneLoggedIn || (isValid && isSystem);
    thirdPartyLoggedIn = thirdPartyLoggedIn || (isValid && !isSystem);
    if (isLoggedIn()) // if the client has logged in with both accounts, the one with more rights
        events.setAccount(orvaneLoggedIn ? OrvaneClient::Account::System : OrvaneClient::Account::Host,
            orvaneLoggedIn ? QString(SystemUserName) : userName);
    if (isLoggedIn() && !wasLoggedIn && socketAttached)
        acceptor->setStranger(*socket, false);

    if (socketAttached) // before the log lines, in which the client may leave
        events.tell({.type = isValid ? EventType::LoggedIn : EventType::InvalidLogin, .user = user});
    qCDebug(defaultLog) << reader.commandName(); // never the message, which contains the password
    if (orvaneLoggedIn)
        qCDebug(defaultLog) << "This is Orvane";
    else if (!thirdPartyLoggedIn)
        qCDebug(defaultLog) << "3rd Party connection over Orvane interface: login invalid";
    if (!isValid && socketAttached)
        endIfExceeded(limits->exceededByInvalidLogin());
}

} // namespace OrvaneInterface
