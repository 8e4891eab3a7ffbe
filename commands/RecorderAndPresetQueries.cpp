#include "OrvaneConnection.h"

#include "OrvaneInterface.h"
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

void appendAttribute(QString& reply, QLatin1String name, const QString& value)
{
    reply += u' ';
    reply += name;
    reply += QLatin1String("=\"");
    reply += value;
    reply += u'"';
}

/// An element with nothing but a name.
void appendNamedElement(QString& reply, QLatin1String element, const std::string& name)
{
    reply += u'<';
    reply += element;
    appendAttribute(reply, QLatin1String("name"), QString::fromStdString(name));
    reply += QLatin1String(" />");
}

void appendRecorder(QString& reply, const RecorderEntry& recorder, bool withCredentials)
{
    reply += QLatin1String("<recorder");
    appendAttribute(reply, QLatin1String("name"), QString::fromStdString(recorder.name));
    appendAttribute(reply, QLatin1String("ip"), QString::fromStdString(recorder.ip));
    if (withCredentials) {
        appendAttribute(reply, QLatin1String("usename"), QString::fromStdString(recorder.userName)); // not "username"
        appendAttribute(reply, QLatin1String("password"), QString::fromStdString(recorder.password));
        appendAttribute(reply, QLatin1String("maxnumchannels"), QString::number(recorder.maxNumChannels));
    }
    reply += u'>';
    for (const std::string& track : recorder.tracks)
        appendNamedElement(reply, QLatin1String("track"), track);
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

    QString reply;
    reply.reserve(lengthOf(recorders));
    appendListStart(reply, RecorderListName);
    for (const RecorderEntry& recorder : recorders)
        appendRecorder(reply, recorder, orvaneLoggedIn);
    appendListEnd(reply, RecorderListName);
    sendMessage(reply);
}

void OrvaneConnection::handleGetPresetsList()
{
    std::vector<PresetEntry> presets;
    hostInterface->getPresetsList(presets);

    QString reply;
    appendListStart(reply, PresetListName);
    for (const PresetEntry& preset : presets)
        appendNamedElement(reply, QLatin1String("preset"), preset.name);
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
