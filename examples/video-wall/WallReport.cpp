#include "WallReport.h"

#include "WallState.h"

#include <QDateTime>
#include <QXmlStreamWriter>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

/// Replaces characters that XML does not allow, such as control characters: client text can contain them.
QString xmlText(const QString& text)
{
    QString result;
    for (const char32_t character : text.toUcs4()) {
        const bool allowed = character >= 0x20 ? character != 0xfffe && character != 0xffff
                                               : character == '\t' || character == '\n' || character == '\r';
        result += allowed ? QString::fromUcs4(&character, 1) : QString(QChar::ReplacementCharacter);
    }
    return result;
}

QString isoTime(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time).toUTC().toString(Qt::ISODateWithMs);
}

void writeSource(QXmlStreamWriter& writer, const CameraSource& source, const QString& fault)
{
    writer.writeAttribute(u"recorder"_s, xmlText(source.recorder));
    writer.writeAttribute(u"camera"_s, QString::number(source.camera));
    if (!fault.isEmpty())
        writer.writeAttribute(u"fault"_s, fault);
}

void writePlayback(QXmlStreamWriter& writer, const Playback& playback, qint64 now)
{
    writer.writeEmptyElement(u"playback"_s);
    writer.writeAttribute(u"track"_s, xmlText(playback.track));
    writer.writeAttribute(u"time"_s, isoTime(playback.positionAt(now)));
    writer.writeAttribute(u"start"_s, isoTime(playback.start));
    writer.writeAttribute(u"end"_s, isoTime(playback.end));
}

void writeCutOut(QXmlStreamWriter& writer, const QRectF& cutOut)
{
    writer.writeAttribute(u"ltx"_s, QString::number(cutOut.left()));
    writer.writeAttribute(u"lty"_s, QString::number(cutOut.top()));
    writer.writeAttribute(u"rbx"_s, QString::number(cutOut.right()));
    writer.writeAttribute(u"rby"_s, QString::number(cutOut.bottom()));
}

void writeInset(QXmlStreamWriter& writer, int subsplitId, const Inset& inset)
{
    writer.writeEmptyElement(u"subsplit"_s);
    writer.writeAttribute(u"id"_s, QString::number(subsplitId));
    if (inset.live)
        writeSource(writer, *inset.live, inset.fault);
    if (inset.objectId != 0)
        writer.writeAttribute(u"objectid"_s, QString::number(inset.objectId));
    if (inset.cutOut)
        writeCutOut(writer, *inset.cutOut);
}

QString stateWord(const Split& split)
{
    if (split.isFree())
        return u"free"_s;
    return split.playback ? u"playback"_s : u"live"_s;
}

void writeSplit(QXmlStreamWriter& writer, int splitId, const Split& split, qint64 now)
{
    writer.writeStartElement(u"split"_s);
    writer.writeAttribute(u"id"_s, QString::number(splitId));
    writer.writeAttribute(u"state"_s, stateWord(split));
    if (split.source)
        writeSource(writer, *split.source, split.fault);
    if (split.alarm)
        writer.writeAttribute(u"alarm"_s, u"1"_s);
    if (split.playback)
        writePlayback(writer, *split.playback, now);
    for (auto inset = split.insets.begin(); inset != split.insets.end(); ++inset)
        writeInset(writer, inset.key(), inset.value());
    writer.writeEndElement();
}

} // namespace

QString wallReport(const WallState& state, qint64 now)
{
    QString report;
    QXmlStreamWriter writer(&report);
    writer.writeStartElement(u"wall"_s);
    writer.writeAttribute(u"layout"_s, state.layout().name());
    writer.writeAttribute(u"splits"_s, QString::number(state.layout().splitCount()));
    writer.writeAttribute(u"time"_s, isoTime(now));
    for (int splitId = 0; splitId < state.layout().splitCount(); ++splitId)
        writeSplit(writer, splitId, state.split(splitId), now);
    writer.writeEndElement();
    return report;
}
