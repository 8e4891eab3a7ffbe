#include "OrvaneConnection.h"

#include "AppendUtf8.h"
#include "OrvaneInterface.h"
#include "RecorderListReply.h"
#include "ReplyTemplates.h"
#include "XmlCommandReader.h"

#include <string>
#include <vector>

// The texts of the two lists go into the reply unescaped: that is how clients know them.
namespace OrvaneInterface {

namespace {

using RecorderEntry = OrvaneInterface::RecorderEntry;
using PresetEntry = OrvaneInterface::PresetEntry;

constexpr QLatin1String RecorderListName("getRecorderListResponse");
constexpr QLatin1String PresetListName("getPresetsListResponse");

/// The length of an attribute without its value, more than enough; for reserving only.
constexpr size_t AttributeLength = 24;

void appendText(QString& reply, QLatin1String before, const std::string& text)
{
    reply += before;
    appendUtf8(reply, text);
}

void appendRecorder(QString& reply, const RecorderEntry& recorder, bool withCredentials)
{
    appendText(reply, QLatin1String("<recorder name=\""), recorder.name);
    appendText(reply, QLatin1String("\" ip=\""), recorder.ip);
    if (withCredentials) {
        appendText(reply, QLatin1String("\" usename=\""), recorder.userName); // not "username"
        appendText(reply, QLatin1String("\" password=\""), recorder.password);
        appendText(reply, QLatin1String("\" maxnumchannels=\""), std::to_string(recorder.maxNumChannels));
    }
    reply += QLatin1String("\">");
    for (const std::string& track : recorder.tracks) {
        appendText(reply, QLatin1String("<track name=\""), track);
        reply += QLatin1String("\" />");
    }
    reply += QLatin1String("</recorder>");
}

void appendListStart(QString& reply, QLatin1String name)
{
    reply += replyStart(name);
    reply += u'>';
}

void appendListEnd(QString& reply, QLatin1String name)
{
    reply += QLatin1String("</p:");
    reply += name;
    reply += u'>';
}

/// Room for the whole reply, so that it grows once: no text has more characters than bytes.
qsizetype lengthOf(const std::vector<RecorderEntry>& recorders)
{
    constexpr size_t attributes = 5;
    size_t length = 0;
    for (const RecorderEntry& recorder : recorders) {
        length += recorder.name.size() + recorder.ip.size() + recorder.userName.size() + recorder.password.size();
        length += (attributes + recorder.tracks.size()) * AttributeLength;
        for (const std::string& track : recorder.tracks)
            length += track.size();
    }
    return static_cast<qsizetype>(length);
}

} // namespace

QString recorderListReply(const std::vector<RecorderEntry>& recorders, bool withCredentials)
{
    QString reply;
    reply.reserve(lengthOf(recorders));
    appendListStart(reply, RecorderListName);
    for (const RecorderEntry& recorder : recorders)
        appendRecorder(reply, recorder, withCredentials);
    appendListEnd(reply, RecorderListName);
    return reply;
}

void OrvaneConnection::handleUpdateRecorderContents()
{
    // Set first: the host may report the end of the refresh before the call returns.
    recorderUpdatePending = true;
    if (hostInterface->updateRecorderContents())
        return;
    recorderUpdatePending = false;
    sendCommandRejected(
        QStringLiteral("updateRecorderContents"), QStringLiteral("Recorder list update already running"));
}

void OrvaneConnection::handleGetRecorderList()
{
    std::vector<RecorderEntry> recorders;
    hostInterface->getRecorderList(recorders);
    sendMessage(recorderListReply(recorders, orvaneLoggedIn));
}

void OrvaneConnection::handleGetPresetsList()
{
    std::vector<PresetEntry> presets;
    hostInterface->getPresetsList(presets);

    QString reply;
    appendListStart(reply, PresetListName);
    for (const PresetEntry& preset : presets) {
        appendText(reply, QLatin1String("<preset name=\""), preset.name);
        reply += QLatin1String("\" />");
    }
    appendListEnd(reply, PresetListName);
    sendMessage(reply);
}

void OrvaneConnection::handleGetPertinentInfo(XmlCommandReader& reader)
{
    const std::string commandDocument = reader.documentText().toStdString();
    std::string answer;
    if (hostInterface->getPertinentInfo(commandDocument, answer))
        sendMessage(QString::fromUtf8(answer.c_str())); // ends at the first NUL byte
}

} // namespace OrvaneInterface
