#include "HostCall.h"
#include "OrvaneConnection.h"

#include "DebugLog.h"
#include "OrvaneInterface.h"
#include "Protocol.h"
#include "XmlCommandReader.h"

#include <string>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

/// Reads a 64-bit number, decimal only; 0 if the text is not a number.
qint64 int64Parameter(const XmlCommandReader& reader, QStringView key, qint64 defaultValue)
{
    return reader.hasParameter(key) ? reader.stringParameter(key).toLongLong() : defaultValue;
}

} // namespace

OrvaneConnection::Result OrvaneConnection::handleShowLive(XmlCommandReader& reader)
{
    const std::string recorder = reader.utf8Parameter(u"recorder");
    int splitId = reader.intParameter(u"splitid", -1);
    const int camera = reader.intParameter(u"camera", -1);
    const bool alarm = reader.intParameter(u"alarm", 0) != 0;
    HostCall(*this)->showLive(recorder, camera, alarm, splitId);
    return sendAcceptedWithSplit(reader, splitId);
}

OrvaneConnection::Result OrvaneConnection::handleShowLiveAtSubsplit(XmlCommandReader& reader)
{
    const int subsplitIndex = reader.intParameter(u"subsplit", -1);
    const int splitId = reader.intParameter(u"splitid", -1);
    const int camera = reader.intParameter(u"camera", -1);
    HostCall(*this)->showLiveAtSubsplit(splitId, camera, subsplitIndex);
    return sendCommandAccepted(reader.commandName());
}

OrvaneConnection::Result OrvaneConnection::handleShowTrack(XmlCommandReader& reader)
{
    const std::string recorder = reader.utf8Parameter(u"recorder");
    int splitId = reader.intParameter(u"splitid", -1);
    const int camera = reader.intParameter(u"camera", -1);
    const qint64 time = int64Parameter(reader, u"time", -1);
    const qint64 limitStart = int64Parameter(reader, u"limitstart", 0);
    const qint64 limitEnd = int64Parameter(reader, u"limitend", 0);
    const bool alarm = reader.intParameter(u"alarm", 0) != 0;

    if (reader.hasParameter(u"trackid")) {
        const int trackId = reader.intParameter(u"trackid", -1);
        HostCall(*this)->showTrackById(recorder, trackId, camera, time, alarm, splitId, limitStart, limitEnd);
    } else if (reader.hasParameter(u"track")) {
        const std::string trackName = reader.utf8Parameter(u"track");
        HostCall(*this)->showTrackByName(recorder, trackName, camera, time, alarm, splitId, limitStart, limitEnd);
    } else {
        sendCommandRejected(reader.commandName(), NoTrack);
        qCDebug(defaultLog) << "OrvaneInterface: received showTrack command without valid track ID or track name!";
        return {Outcome::Rejected};
    }
    return sendAcceptedWithSplit(reader, splitId);
}

/// The long acceptance, with the split used by the host instead of the one sent by the client.
OrvaneConnection::Result OrvaneConnection::sendAcceptedWithSplit(XmlCommandReader& reader, int splitId)
{
    static const QStringList echoNames(u"splitid"_s);
    reader.setParameter(u"splitid", QString::number(splitId));
    sendMessage(reader.acceptedReply(QString(), echoNames, XmlNamespaceUri));
    return {Outcome::Accepted, splitId};
}

} // namespace OrvaneInterface
