#include "HostCall.h"
#include "Lists.h"
#include "OrvaneConnection.h"
#include "OrvaneInterface.h"
#include "Protocol.h"
#include "XmlCommandReader.h"

#include <string>
#include <vector>

namespace OrvaneInterface {

OrvaneConnection::Result OrvaneConnection::handleUpdateRecorderContents(XmlCommandReader& reader)
{
    // Set first: the host may report the end of the refresh before the call returns.
    recorderUpdatePending = true;
    if (HostCall(*this)->updateRecorderContents())
        return {Outcome::NoReply};
    recorderUpdatePending = false;
    return sendCommandRejected(reader.commandName(), RefreshIsRunning);
}

OrvaneConnection::Result OrvaneConnection::handleGetRecorderList(XmlCommandReader& /*reader*/)
{
    std::vector<OrvaneInterface::RecorderEntry> recorders;
    HostCall(*this)->getRecorderList(recorders);
    sendMessage(recorderList(recorders, orvaneLoggedIn));
    return {Outcome::Answered};
}

OrvaneConnection::Result OrvaneConnection::handleGetPresetsList(XmlCommandReader& /*reader*/)
{
    std::vector<OrvaneInterface::PresetEntry> presets;
    HostCall(*this)->getPresetsList(presets);
    sendMessage(presetsList(presets));
    return {Outcome::Answered};
}

OrvaneConnection::Result OrvaneConnection::handleGetPertinentInfo(XmlCommandReader& reader)
{
    const std::string commandDocument = reader.documentText().toStdString();
    std::string answer;
    if (!HostCall(*this)->getPertinentInfo(commandDocument, answer))
        return {Outcome::NoReply};
    sendMessage(QString::fromUtf8(answer.c_str())); // ends at the first NUL byte
    return {Outcome::Answered};
}

} // namespace OrvaneInterface
