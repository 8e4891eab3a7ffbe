#include "OrvaneConnection.h"

#include "Acceptor.h"
#include "ClientLimits.h"
#include "DebugLog.h"
#include "Protocol.h"
#include "XmlCommandReader.h"

#include <QElapsedTimer>

#include <array>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

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
    if (commandName == "loginClient"_L1) {
        handleLoginClient(reader);
        return;
    }

    qCDebug(defaultLog) << message;
    if (!socketAttached) // a message handler of the host may have destroyed the server, and the host after it
        return;
    if (!isLoggedIn()) {
        audit.writeCommandBeforeLogin(commandName);
        return;
    }
    static constexpr std::array outcomes {"no reply"_L1, "answered"_L1, "accepted"_L1, "rejected"_L1};
    QElapsedTimer timer;
    timer.start();
    const bool isAudited = AuditTrail::isOn();
    const Outcome outcome = runCommand(commandName, reader);
    if (isAudited)
        audit.writeCommand(commandName, outcomes.at(static_cast<size_t>(outcome)), timer.nsecsElapsed());
}

/// Of a document that is too much for a command nothing is carried out, a login included, and its text is not logged.
void OrvaneConnection::refuse(const QString& commandName, QLatin1String reason)
{
    qCDebug(defaultLog) << "OrvaneConnection refused a document:" << reason.data();
    if (socketAttached)
        audit.writeRefusedDocument(commandName, reason);
    if (isLoggedIn())
        sendCommandRejected(commandName, reason);
}

/// What a client can do once it has logged in; the documents describe the commands in this order.
OrvaneConnection::Outcome OrvaneConnection::runCommand(const QString& commandName, XmlCommandReader& reader)
{
    struct Command {
        QLatin1String name;
        Outcome (OrvaneConnection::*handle)(XmlCommandReader& reader);
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
            isInCall = true;
            const Outcome outcome = (this->*handle)(reader);
            isInCall = false;
            return outcome;
        }
    }
    qCDebug(defaultLog) << "Received unknown Orvane command:";
    return sendCommandRejected(commandName, UnknownCommand);
}

void OrvaneConnection::handleLoginClient(const XmlCommandReader& reader)
{
    const QString user = reader.stringParameter(u"username");
    const QString pass = reader.stringParameter(u"password");
    // A user with the system account's name is never tried against the other account. No login is ever taken back.
    const bool isSystem = user == SystemUserName;
    const bool isValid = isSystem ? pass == SystemPassword : user == userName && pass == password;
    const bool wasLoggedIn = isLoggedIn();
    orvaneLoggedIn = orvaneLoggedIn || (isValid && isSystem);
    thirdPartyLoggedIn = thirdPartyLoggedIn || (isValid && !isSystem);
    if (isLoggedIn()) // the one with more rights, where the client has logged in with both
        audit.setAccount(orvaneLoggedIn ? QString(SystemUserName) : userName);
    if (isLoggedIn() && !wasLoggedIn && socketAttached)
        acceptor->setStranger(*socket, false);

    if (socketAttached) // before the lines: in one of them the client may go
        audit.writeLogin(user, isValid);
    qCDebug(defaultLog) << reader.commandName(); // never the message, which holds the password
    if (orvaneLoggedIn)
        qCDebug(defaultLog) << "This is Orvane";
    else if (!thirdPartyLoggedIn)
        qCDebug(defaultLog) << "3rd Party connection over Orvane interface: login invalid";
    if (!isValid && socketAttached)
        endIfExceeded(limits->exceededByInvalidLogin());
}

} // namespace OrvaneInterface
