#include "ClientModel.h"

#include "ReplyTemplates.h"
#include "Require.h"
#include "XmlCommandReader.h"
#include "XmlNamespaceUri.h"

ClientModel::ClientModel(MemorySocket* socket)
    : socket(socket)
    , traffic(socket->traffic)
{
}

ClientModel::~ClientModel() = default;

void ClientModel::beginHostCall(const QString& operation)
{
    require(!released, operation + QStringLiteral(" is called for a client that was released"));
    require(callInProgress.isEmpty(), operation + QStringLiteral(" is called inside a call for the same client"));
    callInProgress = nextHostCall();
    require(callInProgress == operation,
        QStringLiteral("%1 is called where \"%2\" is next").arg(operation, callInProgress));
    require(traffic->writes == expected, QStringLiteral("a call is made before the replies to the messages before it"));
    if (operation == QLatin1String("updateRecorderContents"))
        waitsForRefresh = true;
}

void ClientModel::endHostCall(int splitId, bool result, const std::string& answer)
{
    if (!released) {
        if (result)
            expect(replyToHostCall(splitId, answer));
        else if (callInProgress == QLatin1String("updateRecorderContents"))
            expect(commandRejectedReply(callInProgress, QStringLiteral("Recorder list update already running")));
    }
    if (!result)
        waitsForRefresh = waitsForRefresh && callInProgress != QLatin1String("updateRecorderContents");
    callInProgress.clear();
}

void ClientModel::endRefresh()
{
    if (waitsForRefresh && !released)
        expect(replyElement(QLatin1String("updateRecorderContentsFinished")));
    waitsForRefresh = false;
}

void ClientModel::release()
{
    if (callInProgress.isEmpty())
        check();
    released = true;
}

void ClientModel::check()
{
    if (!released && callInProgress.isEmpty())
        require(nextHostCall().isEmpty(), QStringLiteral("a message was not carried out"));
    require(traffic->writes == expected,
        QStringLiteral("written: %1, to be written: %2")
            .arg(QString::fromUtf8(traffic->writes.join('|')), QString::fromUtf8(expected.join('|'))));
}

void ClientModel::checkAllIsRead() const
{
    if (!released && callInProgress.isEmpty())
        require(socket->bytesAvailable() == 0, QStringLiteral("what came during a call is not read"));
}

/// Dispatches up to the message that calls the host; empty when none does.
QString ClientModel::nextHostCall()
{
    while (readsTaken < traffic->reads.size())
        messages += framing.take(traffic->reads[readsTaken++]);
    while (!messages.isEmpty()) {
        QString operation = dispatch(messages.takeFirst());
        if (!operation.isEmpty())
            return operation;
    }
    return {};
}

QString ClientModel::dispatch(const QString& message)
{
    if (message.isEmpty())
        return {};
    reader = std::make_unique<XmlCommandReader>();
    reader->parseCommand(message);
    const bool loggedIn = isOrvane || isThirdParty;
    if (const QLatin1String reason = reader->refusalReason(); !reason.isNull()) {
        if (loggedIn)
            expect(commandRejectedReply(reader->commandName(), reason));
        return {};
    }
    if (reader->commandName() == QLatin1String("loginClient")) {
        login();
        return {};
    }
    return loggedIn ? dispatchLoggedIn() : QString();
}

QString ClientModel::dispatchLoggedIn()
{
    QString name = reader->commandName();
    if (name == QLatin1String("showTrack")) {
        if (reader->hasParameter(QStringLiteral("trackid")))
            return QStringLiteral("showTrackById");
        if (reader->hasParameter(QStringLiteral("track")))
            return QStringLiteral("showTrackByName");
        expect(commandRejectedReply(name, QStringLiteral("showTrack command without valid track ID or track name")));
        return {};
    }
    if (name == QLatin1String("setSplitMode")) {
        const QString mode = reader->stringParameter(QStringLiteral("splitmode"), QStringLiteral("-1"));
        return mode.toInt() >= 0 ? name : QStringLiteral("setSplitModeByName");
    }
    static const QStringList direct {QStringLiteral("updateRecorderContents"), QStringLiteral("getRecorderList"),
        QStringLiteral("getPresetsList"), QStringLiteral("showLive"), QStringLiteral("setPreset"),
        QStringLiteral("setDetailViews"), QStringLiteral("showLiveAtSubsplit"), QStringLiteral("getPertinentInfo")};
    if (direct.contains(name))
        return name;
    expect(commandRejectedReply(name, QStringLiteral("Unknown command")));
    return {};
}

void ClientModel::login()
{
    const QString user = reader->stringParameter(QStringLiteral("username"));
    const QString password = reader->stringParameter(QStringLiteral("password"));
    if (user == QLatin1String("Orvane"))
        isOrvane = isOrvane || password == QLatin1String("157b25b09a99c70fc75a6e79412a00b2");
    else
        isThirdParty = isThirdParty || (user == QLatin1String(UserName) && password == QLatin1String(Password));
}

/// A null text where there is no reply.
QString ClientModel::replyToHostCall(int splitId, const std::string& answer)
{
    if (callInProgress == QLatin1String("updateRecorderContents"))
        return {};
    if (callInProgress == QLatin1String("getRecorderList"))
        return recorderList();
    if (callInProgress == QLatin1String("getPresetsList"))
        return replyStart(QLatin1String("getPresetsListResponse")) + QLatin1String("><preset name=\"")
            + QLatin1String(PresetName) + QLatin1String("\" /></p:getPresetsListResponse>");
    if (callInProgress == QLatin1String("getPertinentInfo"))
        return QString::fromStdString(answer);
    if (callInProgress == QLatin1String("showLive") || callInProgress.startsWith(QLatin1String("showTrack"))) {
        const QString key = QStringLiteral("splitid");
        reader->setParameter(key, QString::number(splitId));
        return reader->acceptedReply(QString(), {key}, XmlNamespaceUri);
    }
    return commandAcceptedReply(reader->commandName());
}

QString ClientModel::recorderList() const
{
    const QString credentials = isOrvane ? QStringLiteral(R"( usename="" password="" maxnumchannels="0")") : QString();
    return replyStart(QLatin1String("getRecorderListResponse"))
        + QStringLiteral("><recorder name=\"%1\" ip=\"\"%2></recorder></p:getRecorderListResponse>")
              .arg(QLatin1String(RecorderName), credentials);
}

void ClientModel::expect(const QString& reply)
{
    if (reply.isNull())
        return;
    const QByteArray terminator = "\r\n\r\n";
    const QByteArray bytes = reply.toUtf8();
    expected += bytes.endsWith(terminator) ? bytes : bytes + terminator;
    // Neither the texts of the client nor those of the host end a reply early.
    require(expected.last().indexOf(terminator) == expected.last().size() - terminator.size(),
        QStringLiteral("a terminator inside a reply: %1").arg(reply));
}
