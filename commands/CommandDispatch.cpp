#include "OrvaneConnection.h"

#include "DebugLog.h"
#include "OrvaneInterface.h"
#include "XmlCommandReader.h"

#include <algorithm>
#include <array>
#include <type_traits>

namespace OrvaneInterface {

namespace {

// The system account is part of the protocol: every installation has it, and every client of Orvane knows it.
constexpr QLatin1String SystemUserName("Orvane");
constexpr QLatin1String SystemPassword("157b25b09a99c70fc75a6e79412a00b2");

constexpr QLatin1String LoginCommand("loginClient");

/// One row of the command table: the name on the wire, and the call of its handler, with the reader where it takes it.
struct Command {
    QLatin1String name;
    void (*handle)(OrvaneConnection& connection, XmlCommandReader& reader);
};

template <auto handler> void call(OrvaneConnection& connection, [[maybe_unused]] XmlCommandReader& reader)
{
    if constexpr (std::is_invocable_v<decltype(handler), OrvaneConnection&, XmlCommandReader&>)
        (connection.*handler)(reader);
    else
        (connection.*handler)();
}

} // namespace

/// What a client can ask for once it has logged in; the documents describe the commands in this order.
struct OrvaneConnection::CommandTable {
    using Connection = OrvaneConnection;
    static constexpr std::array commands {
        Command {QLatin1String("updateRecorderContents"), call<&Connection::handleUpdateRecorderContents>},
        Command {QLatin1String("getRecorderList"), call<&Connection::handleGetRecorderList>},
        Command {QLatin1String("getPresetsList"), call<&Connection::handleGetPresetsList>},
        Command {QLatin1String("showLive"), call<&Connection::handleShowLive>},
        Command {QLatin1String("showTrack"), call<&Connection::handleShowTrack>},
        Command {QLatin1String("setPreset"), call<&Connection::handleSetPreset>},
        Command {QLatin1String("setSplitMode"), call<&Connection::handleSetSplitMode>},
        Command {QLatin1String("setDetailViews"), call<&Connection::handleSetDetailViews>},
        Command {QLatin1String("showLiveAtSubsplit"), call<&Connection::handleShowLiveAtSubsplit>},
        Command {QLatin1String("getPertinentInfo"), call<&Connection::handleGetPertinentInfo>},
    };
};

void OrvaneConnection::handleCommand(const QString& message)
{
    qCDebug(defaultLog) << "OrvaneConnection received command:";
    if (message.isEmpty() || !hostInterface)
        return;

    XmlCommandReader reader;
    reader.parseCommand(message); // a document with an error goes ahead with what came before it
    const QString commandName = reader.commandName();
    if (!reader.refusalReason().isNull()) {
        refuse(commandName, reader.refusalReason());
        return;
    }
    if (commandName == LoginCommand) {
        handleLoginClient(reader);
        return;
    }

    qCDebug(defaultLog) << message;
    if (!isLoggedIn())
        return;
    if (!socketAttached) // a message handler of the host may have destroyed the server, and the host after it
        return;
    runCommand(commandName, reader);
}

/// Of a document that is too much for a command nothing is carried out, a login included, and its text is not logged.
void OrvaneConnection::refuse(const QString& commandName, QLatin1String reason)
{
    qCDebug(defaultLog) << "OrvaneConnection refused a document:" << reason.data();
    if (isLoggedIn())
        sendCommandRejected(commandName, reason);
}

/// What a client can do once it has logged in.
void OrvaneConnection::runCommand(const QString& commandName, XmlCommandReader& reader)
{
    const auto& commands = CommandTable::commands;
    const auto* const command = std::find_if(
        commands.begin(), commands.end(), [&](const Command& candidate) { return candidate.name == commandName; });
    if (command != commands.end()) {
        command->handle(*this, reader);
        return;
    }
    qCDebug(defaultLog) << "Received unknown Orvane command:";
    sendCommandRejected(commandName, QStringLiteral("Unknown command"));
}

void OrvaneConnection::handleLoginClient(const XmlCommandReader& reader)
{
    const QString user = reader.stringParameter(QStringLiteral("username"));
    const QString pass = reader.stringParameter(QStringLiteral("password"));
    // A user with the system account's name is never tried against the other account. No login is ever taken back.
    if (user == SystemUserName) {
        if (pass == SystemPassword)
            orvaneLoggedIn = true;
    } else if (user == userName && pass == password) {
        thirdPartyLoggedIn = true;
    }

    qCDebug(defaultLog) << reader.commandName(); // never the message, which holds the password
    if (orvaneLoggedIn)
        qCDebug(defaultLog) << "This is Orvane";
    else if (!thirdPartyLoggedIn)
        qCDebug(defaultLog) << "3rd Party connection over Orvane interface: login invalid";
}

void OrvaneConnection::handleShowLiveAtSubsplit(XmlCommandReader& reader)
{
    const int subsplitIndex = reader.intParameter(QStringLiteral("subsplit"), -1);
    const int splitId = reader.intParameter(QStringLiteral("splitid"), -1);
    const int camera = reader.intParameter(QStringLiteral("camera"), -1);
    hostInterface->showLiveAtSubsplit(splitId, camera, subsplitIndex);
    sendCommandAccepted(reader.commandName());
}

} // namespace OrvaneInterface
