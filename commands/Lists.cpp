#include "Lists.h"

#include "Replies.h"

#include <QStringDecoder>

#include <string>

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

using RecorderEntry = OrvaneInterface::RecorderEntry;

constexpr QLatin1String RecorderListResponse("getRecorderListResponse");
constexpr QLatin1String PresetsListResponse("getPresetsListResponse");

/// Like `text += QString::fromUtf8(bytes)`, without the temporary string.
void appendUtf8(QString& text, QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const qsizetype length = text.size();
    text.resize(length + decoder.requiredSpace(bytes.size()));
    const QChar* const end = decoder.appendToBuffer(text.data() + length, bytes);
    text.truncate(end - text.constData());
}

/// The host's value is not escaped: clients expect that.
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

} // namespace

QString recorderList(const std::vector<RecorderEntry>& recorders, bool withCredentials)
{
    QString reply = replyStart(RecorderListResponse);
    for (const RecorderEntry& recorder : recorders)
        appendRecorder(reply, recorder, withCredentials);
    appendReplyEnd(reply, RecorderListResponse);
    return reply;
}

QString presetsList(const std::vector<OrvaneInterface::PresetEntry>& presets)
{
    QString reply = replyStart(PresetsListResponse);
    for (const OrvaneInterface::PresetEntry& preset : presets) {
        appendAttribute(reply, "<preset name=\""_L1, preset.name);
        reply += " />"_L1;
    }
    appendReplyEnd(reply, PresetsListResponse);
    return reply;
}

} // namespace OrvaneInterface
