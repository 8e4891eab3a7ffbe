#include "OrvaneConnection.h"

#include "DebugLog.h"
#include "OrvaneInterface.h"
#include "XmlCommandReader.h"
#include "XmlNamespaceUri.h"

#include <string>

namespace OrvaneInterface {

namespace {

/// A decimal number of 64 bits; it has no hexadecimal form. 0 when the text is no number.
qint64 int64Parameter(const XmlCommandReader& reader, const QString& key, qint64 defaultValue)
{
    return reader.hasParameter(key) ? reader.stringParameter(key).toLongLong() : defaultValue;
}

} // namespace

void OrvaneConnection::handleShowLive(XmlCommandReader& reader)
{
    const std::string recorder = reader.utf8Parameter(QStringLiteral("recorder"));
    int splitId = reader.intParameter(QStringLiteral("splitid"), -1);
    const int camera = reader.intParameter(QStringLiteral("camera"), -1);
    const bool alarm = reader.intParameter(QStringLiteral("alarm"), 0) != 0;
    hostInterface->showLive(recorder, camera, alarm, splitId);
    sendAcceptedWithSplit(reader, splitId);
}

void OrvaneConnection::handleShowTrack(XmlCommandReader& reader)
{
    const std::string recorder = reader.utf8Parameter(QStringLiteral("recorder"));
    int splitId = reader.intParameter(QStringLiteral("splitid"), -1);
    const int camera = reader.intParameter(QStringLiteral("camera"), -1);
    const qint64 time = int64Parameter(reader, QStringLiteral("time"), -1);
    const qint64 limitStart = int64Parameter(reader, QStringLiteral("limitstart"), 0);
    const qint64 limitEnd = int64Parameter(reader, QStringLiteral("limitend"), 0);
    const bool alarm = reader.intParameter(QStringLiteral("alarm"), 0) != 0;

    if (reader.hasParameter(QStringLiteral("trackid"))) {
        const int trackId = reader.intParameter(QStringLiteral("trackid"), -1);
        hostInterface->showTrackById(recorder, trackId, camera, time, alarm, splitId, limitStart, limitEnd);
    } else if (reader.hasParameter(QStringLiteral("track"))) {
        const std::string trackName = reader.utf8Parameter(QStringLiteral("track"));
        hostInterface->showTrackByName(recorder, trackName, camera, time, alarm, splitId, limitStart, limitEnd);
    } else {
        sendCommandRejected(
            reader.commandName(), QStringLiteral("showTrack command without valid track ID or track name"));
        qCDebug(defaultLog) << "OrvaneInterface: received showTrack command without valid track ID or track name!";
        return;
    }
    sendAcceptedWithSplit(reader, splitId);
}

/// The long acceptance, with the split that the host has used in place of the one that the client has sent.
void OrvaneConnection::sendAcceptedWithSplit(XmlCommandReader& reader, int splitId)
{
    static const QStringList echoNames(QStringLiteral("splitid"));
    reader.setParameter(echoNames.first(), QString::number(splitId));
    sendMessage(reader.acceptedReply(QString(), echoNames, XmlNamespaceUri));
}

} // namespace OrvaneInterface
