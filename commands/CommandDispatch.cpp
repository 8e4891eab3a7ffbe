#include "OrvaneConnection.h"

#include "Acceptor.h"
#include "AuditLog.h"
#include "ClientLimits.h"
#include "DebugLog.h"
#include "Protocol.h"
#include "XmlCommandReader.h"

#include <QElapsedTimer>

#include <array>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

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
    if (!socketAttached) // a message handler of the host may have destroyed the server, and the host after it
        return;
    if (auditLog().isInfoEnabled())
        runCommandWithAudit(commandName, reader);
    else if (isLoggedIn())
        runCommand(commandName, reader);
}

void OrvaneConnection::runCommandWithAudit(const QString& commandName, XmlCommandReader& reader)
{
    static constexpr std::array outcomes {"no reply"_L1, "answered"_L1, "accepted"_L1, "rejected"_L1};
    if (!mayWriteAuditEntry())
        return;
    QJsonObject entry = auditEntry("command"_L1); // before it: the client may be gone behind it
    entry["command"_L1] = forAudit(commandName);
    if (!isLoggedIn()) {
        entry["outcome"_L1] = "not logged in"_L1;
        writeAuditLine(entry);
        return;
    }
    QElapsedTimer timer;
    timer.start();
    outcome = Outcome::NoReply;
    runCommand(commandName, reader);
    constexpr qint64 nanosecondsPerMicrosecond = 1000;
    entry["microseconds"_L1] = timer.nsecsElapsed() / nanosecondsPerMicrosecond;
    entry["outcome"_L1] = outcomes.at(static_cast<size_t>(outcome));
    writeAuditLine(entry);
}

/// Of a document that is too much for a command nothing is carried out, a login included, and its text is not logged.
void OrvaneConnection::refuse(const QString& commandName, QLatin1String reason)
{
    qCDebug(defaultLog) << "OrvaneConnection refused a document:" << reason.data();
    if (mayWriteAuditEntry()) {
        QJsonObject entry = auditEntry("refusedDocument"_L1);
        entry["command"_L1] = forAudit(commandName);
        entry["reason"_L1] = reason;
        writeAuditLine(entry);
    }
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
            isInCall = true;
            (this->*handle)(reader);
            isInCall = false;
            return;
        }
    }
    qCDebug(defaultLog) << "Received unknown Orvane command:";
    sendCommandRejected(commandName, UnknownCommand);
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
    if (isLoggedIn() && !wasLoggedIn && socketAttached)
        acceptor->setStranger(*socket, false);

    if (mayWriteAuditEntry()) { // before the lines: in one of them the client may go
        QJsonObject entry = auditEntry(isValid ? "login"_L1 : "invalidLogin"_L1);
        entry["user"_L1] = forAudit(user);
        writeAuditLine(entry);
    }
    qCDebug(defaultLog) << reader.commandName(); // never the message, which holds the password
    if (orvaneLoggedIn)
        qCDebug(defaultLog) << "This is Orvane";
    else if (!thirdPartyLoggedIn)
        qCDebug(defaultLog) << "3rd Party connection over Orvane interface: login invalid";
    if (!isValid && socketAttached)
        endIfExceeded(limits->exceededByInvalidLogin());
}

/// The one with more rights, where the client has logged in with both.
QString OrvaneConnection::account() const
{
    return orvaneLoggedIn ? QString(SystemUserName) : userName;
}

} // namespace OrvaneInterface
