#include "Replies.h"

#include "AppendUtf8.h"
#include "OrvaneConnection.h"
#include "Protocol.h"
#include "XmlCommandReader.h"

#include <QStringBuilder>

#include <algorithm>
#include <string>

// Put together with %, which makes room for its parts at once, and never with arg(), which would look for its markers
// in what a client has sent.
namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

using RecorderEntry = OrvaneInterface::RecorderEntry;
using PresetEntry = OrvaneInterface::PresetEntry;

constexpr QLatin1String Acceptance("commandAccepted");
constexpr QLatin1String Rejection("commandRejected");
constexpr QLatin1String RecorderListResponse("getRecorderListResponse");
constexpr QLatin1String PresetsListResponse("getPresetsListResponse");

/// Characters that hold most acknowledgements with what clients put into them; for reserving only.
constexpr qsizetype UsualLength = 400;
/// The length of an attribute without its value, more than enough; for reserving only.
constexpr size_t AttributeLength = 24;

/// The root's start tag, up to the namespace: `<p:name xmlns:p="..."`.
QString rootStart(QLatin1String name, const QString& namespaceUri = XmlNamespaceUri)
{
    QString reply;
    reply.reserve(UsualLength);
    reply += "<p:"_L1 % name % " xmlns:p=\""_L1 % namespaceUri % u'"';
    return reply;
}

void appendEnd(QString& reply, QLatin1String name)
{
    reply += "</p:"_L1 % name % u'>';
}

/// As it may stand between two tags.
QString escapedText(QStringView text)
{
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar character : text) {
        if (const QLatin1String entity = entityOf(character); entity.isNull())
            escaped += character;
        else
            escaped += entity;
    }
    return escaped;
}

/// Appends an element without attributes.
void appendElement(QString& reply, QStringView name, QStringView text)
{
    QString escaped; // not needed for nearly all texts
    if (std::any_of(text.begin(), text.end(), [](QChar character) { return !entityOf(character).isNull(); })) {
        escaped = escapedText(text);
        text = escaped;
    }
    reply += u'<' % name % u'>' % text % "</"_L1 % name % u'>';
}

void appendAttribute(QString& reply, QLatin1String before, const std::string& value)
{
    reply += before;
    appendUtf8(reply, value);
    reply += u'"';
}

void appendRecorder(QString& reply, const RecorderEntry& recorder, bool withCredentials)
{
    appendAttribute(reply, "<recorder name=\""_L1, recorder.name);
    appendAttribute(reply, " ip=\""_L1, recorder.ip);
    if (withCredentials) {
        appendAttribute(reply, " usename=\""_L1, recorder.userName); // not "username"
        appendAttribute(reply, " password=\""_L1, recorder.password);
        appendAttribute(reply, " maxnumchannels=\""_L1, std::to_string(recorder.maxNumChannels));
    }
    reply += u'>';
    for (const std::string& track : recorder.tracks) {
        appendAttribute(reply, "<track name=\""_L1, track);
        reply += " />"_L1;
    }
    reply += "</recorder>"_L1;
}

/// Room for the whole list, so that it grows once: no text has more characters than bytes.
qsizetype lengthOf(const std::vector<RecorderEntry>& recorders)
{
    constexpr size_t attributes = 5;
    size_t length = UsualLength;
    for (const RecorderEntry& recorder : recorders) {
        length += recorder.name.size() + recorder.ip.size() + recorder.userName.size() + recorder.password.size();
        length += (attributes + recorder.tracks.size()) * AttributeLength;
        for (const std::string& track : recorder.tracks)
            length += track.size();
    }
    return static_cast<qsizetype>(length);
}

} // namespace

QString acceptance(const QString& commandName)
{
    QString reply = rootStart(Acceptance);
    reply += u'>';
    appendElement(reply, u"commandname", commandName);
    appendEnd(reply, Acceptance);
    return reply;
}

QString rejection(const QString& commandName, const QString& reason)
{
    QString reply = rootStart(Rejection);
    reply += u'>';
    appendElement(reply, u"commandname", commandName);
    appendElement(reply, u"reason", reason);
    appendEnd(reply, Rejection);
    return reply;
}

QString recorderList(const std::vector<RecorderEntry>& recorders, bool withCredentials)
{
    QString reply = rootStart(RecorderListResponse);
    reply.reserve(lengthOf(recorders));
    reply += u'>';
    for (const RecorderEntry& recorder : recorders)
        appendRecorder(reply, recorder, withCredentials);
    appendEnd(reply, RecorderListResponse);
    return reply;
}

QString presetsList(const std::vector<PresetEntry>& presets)
{
    QString reply = rootStart(PresetsListResponse);
    reply += u'>';
    for (const PresetEntry& preset : presets) {
        appendAttribute(reply, "<preset name=\""_L1, preset.name);
        reply += " />"_L1;
    }
    appendEnd(reply, PresetsListResponse);
    return reply;
}

QString refreshFinishedNotice()
{
    return rootStart("updateRecorderContentsFinished"_L1) % " />"_L1;
}

void OrvaneConnection::sendCommandAccepted(const QString& commandName)
{
    outcome = Outcome::Accepted;
    sendMessage(acceptance(commandName));
}

void OrvaneConnection::sendCommandRejected(const QString& commandName, const QString& reason)
{
    outcome = Outcome::Rejected;
    sendMessage(rejection(commandName, reason));
}

/// The long acceptance, with the split that the host has used in place of the one that the client has sent.
void OrvaneConnection::sendAcceptedWithSplit(XmlCommandReader& reader, int splitId)
{
    static const QStringList echoNames(u"splitid"_s);
    reader.setParameter(u"splitid", QString::number(splitId));
    outcome = Outcome::Accepted;
    sendMessage(reader.acceptedReply(QString(), echoNames, XmlNamespaceUri));
}

} // namespace OrvaneInterface

// Here and not with the rest of the class, because this file is the one place for what clients receive.
QString XmlCommandReader::acceptedReply(
    const QString& remark, const QStringList& echoNames, const QString& namespaceUri) const
{
    using namespace OrvaneInterface;
    QString reply = rootStart(Acceptance, namespaceUri);
    reply += u'>';
    appendElement(reply, u"command", commandName());
    const auto echo = [&](QStringView name) {
        if (const auto parameter = find(name))
            appendElement(reply, name, parameters.value(*parameter));
    };
    for (const QString& name : echoNames)
        echo(name);
    echo(u"commandtag");
    if (!remark.isEmpty())
        appendElement(reply, u"remark", remark);
    appendEnd(reply, Acceptance);
    return reply;
}
