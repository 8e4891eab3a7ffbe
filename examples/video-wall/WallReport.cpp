#include "WallReport.h"

#include "WallState.h"

#include <QDateTime>
#include <QXmlStreamWriter>

#include <optional>

namespace {

/// Replaces what no XML document can hold, such as control characters; they can come in with client text.
QString xmlText(const QString& text)
{
    QString result;
    for (const char32_t character : text.toUcs4()) {
        const bool allowed = character >= 0x20
            ? (character < 0xd800 || character > 0xdfff) && character != 0xfffe && character != 0xffff
            : character == '\t' || character == '\n' || character == '\r';
        result += allowed ? QString::fromUcs4(&character, 1) : QString(QChar::ReplacementCharacter);
    }
    return result;
}

QString timeText(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time).toUTC().toString(Qt::ISODateWithMs);
}

void writeSource(QXmlStreamWriter& writer, const CameraSource& source, const QString& fault)
{
    writer.writeAttribute(QStringLiteral("recorder"), xmlText(source.recorder));
    writer.writeAttribute(QStringLiteral("camera"), QString::number(source.camera));
    if (!fault.isEmpty())
        writer.writeAttribute(QStringLiteral("fault"), fault);
}

void writePlayback(QXmlStreamWriter& writer, const Playback& playback, qint64 now)
{
    writer.writeEmptyElement(QStringLiteral("playback"));
    writer.writeAttribute(QStringLiteral("track"), xmlText(playback.track));
    writer.writeAttribute(QStringLiteral("time"), timeText(playback.positionAt(now)));
    writer.writeAttribute(QStringLiteral("start"), timeText(playback.start));
    writer.writeAttribute(QStringLiteral("end"), timeText(playback.end));
}

void writeCutOut(QXmlStreamWriter& writer, const QRectF& cutOut)
{
    writer.writeAttribute(QStringLiteral("ltx"), QString::number(cutOut.left()));
    writer.writeAttribute(QStringLiteral("lty"), QString::number(cutOut.top()));
    writer.writeAttribute(QStringLiteral("rbx"), QString::number(cutOut.right()));
    writer.writeAttribute(QStringLiteral("rby"), QString::number(cutOut.bottom()));
}

void writeInset(QXmlStreamWriter& writer, int subsplitId, const Inset& inset)
{
    writer.writeEmptyElement(QStringLiteral("subsplit"));
    writer.writeAttribute(QStringLiteral("id"), QString::number(subsplitId));
    if (inset.live)
        writeSource(writer, *inset.live, inset.fault);
    if (inset.objectId != 0)
        writer.writeAttribute(QStringLiteral("objectid"), QString::number(inset.objectId));
    if (inset.cutOut)
        writeCutOut(writer, *inset.cutOut);
}

QString stateWord(const Split& split)
{
    if (split.isFree())
        return QStringLiteral("free");
    return split.playback ? QStringLiteral("playback") : QStringLiteral("live");
}

void writeSplit(QXmlStreamWriter& writer, int splitId, const Split& split, qint64 now)
{
    writer.writeStartElement(QStringLiteral("split"));
    writer.writeAttribute(QStringLiteral("id"), QString::number(splitId));
    writer.writeAttribute(QStringLiteral("state"), stateWord(split));
    if (split.source)
        writeSource(writer, *split.source, split.fault);
    if (split.alarm)
        writer.writeAttribute(QStringLiteral("alarm"), QStringLiteral("1"));
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
    writer.writeStartElement(QStringLiteral("wall"));
    writer.writeAttribute(QStringLiteral("layout"), state.layout().name());
    writer.writeAttribute(QStringLiteral("splits"), QString::number(state.layout().splitCount()));
    writer.writeAttribute(QStringLiteral("time"), timeText(now));
    for (int splitId = 0; splitId < state.layout().splitCount(); ++splitId)
        writeSplit(writer, splitId, state.split(splitId), now);
    writer.writeEndElement();
    return report;
}
