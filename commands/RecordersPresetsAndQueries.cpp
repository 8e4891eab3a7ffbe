#include "OrvaneConnection.h"

#include "OrvaneInterface.h"
#include "Protocol.h"
#include "Replies.h"
#include "XmlCommandReader.h"

#include <string>
#include <vector>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

void OrvaneConnection::handleUpdateRecorderContents(XmlCommandReader& reader)
{
    // Set first: the host may report the end of the refresh before the call returns.
    recorderUpdatePending = true;
    if (hostInterface->updateRecorderContents())
        return;
    recorderUpdatePending = false;
    sendCommandRejected(reader.commandName(), RefreshIsRunning);
}

void OrvaneConnection::notifyRefreshFinished(const QByteArray& notice)
{
    if (!recorderUpdatePending)
        return;
    sendFrame(notice);
    recorderUpdatePending = false;
}

void OrvaneConnection::handleGetRecorderList(XmlCommandReader& /*reader*/)
{
    std::vector<OrvaneInterface::RecorderEntry> recorders;
    hostInterface->getRecorderList(recorders);
    sendMessage(recorderList(recorders, orvaneLoggedIn));
}

void OrvaneConnection::handleGetPresetsList(XmlCommandReader& /*reader*/)
{
    std::vector<OrvaneInterface::PresetEntry> presets;
    hostInterface->getPresetsList(presets);
    sendMessage(presetsList(presets));
}

void OrvaneConnection::handleGetPertinentInfo(XmlCommandReader& reader)
{
    const std::string commandDocument = reader.documentText().toStdString();
    std::string answer;
    if (hostInterface->getPertinentInfo(commandDocument, answer))
        sendMessage(QString::fromUtf8(answer.c_str())); // ends at the first NUL byte
}

} // namespace OrvaneInterface
