#include "OrvaneConnection.h"

#include "DebugLog.h"
#include "XmlCommandReader.h"

#include <array>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

// The system account is part of the protocol: every installation has it, and every client of Orvane knows it.
constexpr QLatin1String SystemUserName("Orvane");
constexpr QLatin1String SystemPassword("157b25b09a99c70fc75a6e79412a00b2");

constexpr QLatin1String LoginCommand("loginClient");

} // namespace

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

/// What a client can do once it has logged in; the documents describe the commands in this order.
void OrvaneConnection::runCommand(const QString& commandName, XmlCommandReader& reader)
{
    struct Command {
        QLatin1String name;
        void (OrvaneConnection::*handle)(XmlCommandReader& reader);
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
    for (const auto& [name, handle] : commands) {
        if (name == commandName) {
            (this->*handle)(reader);
            return;
        }
    }
    qCDebug(defaultLog) << "Received unknown Orvane command:";
    sendCommandRejected(commandName, u"Unknown command"_s);
}

void OrvaneConnection::handleLoginClient(const XmlCommandReader& reader)
{
    const QString user = reader.stringParameter(u"username");
    const QString pass = reader.stringParameter(u"password");
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

} // namespace OrvaneInterface
