#include "TilePainter.h"

#include "WallColors.h"

#include <QDateTime>
#include <QFontMetricsF>
#include <QLinearGradient>
#include <QPainter>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 AlarmPulseMilliseconds = 1000;
/// More insets would hide the picture; the rest is only counted.
constexpr qsizetype MostInsets = 6;
constexpr int InsetRows = 3;
/// In heights of its font.
constexpr qreal LabelHeight = 1.16;

QString timeText(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time).toUTC().toString(u"yyyy-MM-dd  HH:mm:ss"_s);
}

/// The time of day; with the date before it when the range leaves the day on which it begins.
QString limitText(qint64 time, const Playback& playback)
{
    const QDateTime moment = QDateTime::fromMSecsSinceEpoch(time).toUTC();
    const bool oneDay = playback.end - playback.start < 24LL * 60 * 60 * 1000;
    return moment.toString(oneDay ? u"HH:mm:ss"_s : u"dd MMM HH:mm"_s);
}

} // namespace

TilePainter::TilePainter(QPainter& painter, const QRectF& tile, qint64 now)
    : painter(painter)
    , tile(tile)
    , now(now)
    , textSize(std::clamp(tile.height() * 0.054, 9.5, 24.0))
    , margin(std::clamp(tile.height() * 0.035, 5.0, 20.0))
{
}

QFont TilePainter::textFont(qreal scale, bool bold) const
{
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(std::max(8, static_cast<int>(std::lround(textSize * scale))));
    font.setBold(bold);
    return font;
}

/// Of the largest badge.
QFont TilePainter::alarmFont() const
{
    return textFont(1.35, true);
}

void TilePainter::paint(int splitId, const Split& split)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (split.isFree()) {
        paintFree(splitId);
    } else {
        const CameraPicture picture(*split.source, pictureTime(split));
        paintPicture(*split.source, split.fault, pictureTime(split), tile);
        if (split.alarm)
            paintAlarmFrame();
        if (split.fault.isEmpty())
            paintMarks(split, picture);
        paintCaption(split);
        paintSplitNumber(splitId);
        paintInsets(split, picture);
        paintBadge(split);
    }
    if (split.isFree() && !split.insets.isEmpty())
        paintInsets(split, CameraPicture(CameraSource(), now));
    painter.restore();
}

qint64 TilePainter::pictureTime(const Split& split) const
{
    return split.playback ? split.playback->positionAt(now) : now;
}

QRectF TilePainter::onTile(const QRectF& part) const
{
    return {tile.x() + part.x() * tile.width(), tile.y() + part.y() * tile.height(), part.width() * tile.width(),
        part.height() * tile.height()};
}

void TilePainter::paintFree(int splitId)
{
    painter.fillRect(tile, WallColors::FreeTile);
    painter.setPen(QPen(WallColors::Line, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(tile.adjusted(0.5, 0.5, -0.5, -0.5));
    QFont font = textFont(1);
    font.setPixelSize(std::max(16, static_cast<int>(tile.height() * 0.26)));
    font.setWeight(QFont::Light);
    paintTextLine(tile, Qt::AlignCenter, QString::number(splitId), font, WallColors::Line.lighter(150));
}

void TilePainter::paintPicture(const CameraSource& source, const QString& fault, qint64 time, const QRectF& target)
{
    if (fault.isEmpty())
        CameraPicture(source, time).paint(painter, target);
    else
        paintNoPicture(target, fault);
}

void TilePainter::paintNoPicture(const QRectF& target, const QString& fault)
{
    painter.fillRect(target, QColor(24, 26, 30));
    painter.save();
    painter.setClipRect(target, Qt::IntersectClip);
    painter.setPen(QPen(QColor(255, 255, 255, 9), target.height() * 0.05));
    const qreal distance = target.height() * 0.14;
    const int stripes = static_cast<int>((target.height() + target.width()) / distance) + 1;
    for (int stripe = 0; stripe < stripes; ++stripe) {
        const qreal x = stripe * distance - target.height();
        painter.drawLine(target.bottomLeft() + QPointF(x, 0), target.topLeft() + QPointF(x + target.height(), 0));
    }
    painter.restore();
    const QFont title = textFont(1.25, true);
    const qreal line = QFontMetricsF(title).height();
    const QRectF upper(target.x(), target.center().y() - line, target.width(), line);
    paintTextLine(upper, Qt::AlignCenter, u"No picture"_s, title, WallColors::Text);
    paintTextLine(upper.translated(0, line), Qt::AlignCenter, fault, textFont(0.95), WallColors::MutedText);
}

void TilePainter::paintTextLine(
    const QRectF& line, int flags, const QString& text, const QFont& font, const QColor& color)
{
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(line, flags, QFontMetricsF(font).elidedText(text, Qt::ElideRight, line.width()));
}

void TilePainter::paintLabel(const QPointF& topLeft, const QString& text, const QColor& color, const QFont& font)
{
    const QFontMetricsF metrics(font);
    const qreal padding = metrics.height() * 0.34;
    const QRectF label(topLeft, QSizeF(metrics.horizontalAdvance(text) + 2 * padding, metrics.height() * LabelHeight));
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(label, padding * 0.6, padding * 0.6);
    paintTextLine(label, Qt::AlignCenter, text, font,
        color.lightness() > 110 && color != WallColors::Alarm ? QColor(14, 18, 22) : QColor(Qt::white));
}

void TilePainter::paintBadge(const Split& split)
{
    const QPointF corner = tile.topLeft() + QPointF(margin, margin);
    if (split.alarm) {
        paintLabel(corner, u"ALARM"_s, WallColors::Alarm, alarmFont());
        return;
    }
    if (split.playback)
        paintLabel(corner, u"PLAYBACK"_s, WallColors::Playback, textFont(0.8, true));
    else if (split.fault.isEmpty())
        paintLabel(corner, u"LIVE"_s, WallColors::Live, textFont(0.8, true));
}

void TilePainter::paintSplitNumber(int splitId)
{
    const QFont font = textFont(0.95, true);
    const QString text = QString::number(splitId);
    const qreal width = QFontMetricsF(font).horizontalAdvance(text) + QFontMetricsF(font).height() * 0.68;
    paintLabel({tile.right() - margin - width, tile.top() + margin}, text, QColor(10, 14, 18, 165), font);
}

void TilePainter::paintCaption(const Split& split)
{
    const QFont nameFont = textFont(1.08, true);
    const QFont smallFont = textFont(0.92);
    const qreal line = QFontMetricsF(nameFont).height();
    const qreal barHeight = std::max(3.0, textSize * 0.3);
    const bool running = split.playback && split.fault.isEmpty();
    const qreal playbackHeight = running ? line * 2.2 + barHeight : 0;
    const qreal height = line + margin * 2 + playbackHeight;
    // Inside of an alarm frame.
    const qreal inset = split.alarm ? alarmFrameWidth() : 0;
    const QRectF shade(tile.x() + inset, tile.bottom() - height * 1.3, tile.width() - 2 * inset, height * 1.3 - inset);
    QLinearGradient gradient(shade.topLeft(), shade.bottomLeft());
    gradient.setColorAt(0, QColor(6, 9, 12, 0));
    gradient.setColorAt(0.35, QColor(6, 9, 12, 165));
    gradient.setColorAt(1, QColor(6, 9, 12, 225));
    painter.fillRect(shade, gradient);

    const qreal side = margin + inset;
    QRectF text(tile.x() + side, tile.bottom() - margin - playbackHeight - line, tile.width() - 2 * side, line);
    const QString camera = u"Camera %1"_s.arg(split.source->camera);
    const qreal cameraWidth = QFontMetricsF(smallFont).horizontalAdvance(camera) + margin;
    paintTextLine(text.adjusted(0, 0, -cameraWidth, 0), Qt::AlignLeft | Qt::AlignVCenter, split.source->recorder,
        nameFont, WallColors::Text);
    paintTextLine(text, Qt::AlignRight | Qt::AlignVCenter, camera, smallFont, QColor(205, 214, 222));
    if (!running)
        return;

    text.translate(0, line * 1.05);
    const QString time = timeText(split.playback->positionAt(now));
    paintTextLine(text, Qt::AlignRight | Qt::AlignVCenter, time, smallFont, WallColors::Text);
    const qreal timeWidth = QFontMetricsF(smallFont).horizontalAdvance(time) + margin;
    paintTextLine(text.adjusted(0, 0, -timeWidth, 0), Qt::AlignLeft | Qt::AlignVCenter, split.playback->track,
        smallFont, WallColors::Playback);
    paintProgress(*split.playback, QRectF(text.x(), text.bottom() + line * 0.1, text.width(), barHeight));
}

void TilePainter::paintProgress(const Playback& playback, const QRectF& bar)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, 55));
    painter.drawRoundedRect(bar, bar.height() / 2, bar.height() / 2);
    QRectF done = bar;
    done.setWidth(std::max(bar.height(), bar.width() * playback.progressAt(now)));
    painter.setBrush(WallColors::Playback);
    painter.drawRoundedRect(done, bar.height() / 2, bar.height() / 2);

    const QFont font = textFont(0.78);
    const QRectF text(bar.x(), bar.bottom() + 1, bar.width(), QFontMetricsF(font).height());
    paintTextLine(text, Qt::AlignLeft, limitText(playback.start, playback), font, WallColors::MutedText.lighter(120));
    paintTextLine(text, Qt::AlignRight, limitText(playback.end, playback), font, WallColors::MutedText.lighter(120));
    if (playback.limited)
        paintTextLine(text, Qt::AlignHCenter, u"limits"_s, font, WallColors::MutedText);
}

void TilePainter::paintInsets(const Split& split, const CameraPicture& picture)
{
    const qsizetype shown = std::min(split.insets.size(), MostInsets);
    const qreal share = shown <= 1 ? 0.38 : shown <= 2 ? 0.32 : 0.225;
    const QSizeF size = tile.size() * share;
    const qreal top = tile.y() + margin * 1.6 + QFontMetricsF(textFont(0.95, true)).height() * LabelHeight;
    int place = 0;
    const bool hasPicture = split.fault.isEmpty() && !split.isFree();
    for (auto inset = split.insets.begin(); place < shown; ++inset, ++place) {
        const int column = place / InsetRows; // from the right
        const int row = place % InsetRows;
        const QPointF corner(
            tile.right() - (column + 1) * (size.width() + margin), top + row * (size.height() + margin * 0.7));
        paintInset(inset.value(), inset.key(), QRectF(corner, size), hasPicture ? &picture : nullptr);
    }
    if (split.insets.size() <= MostInsets)
        return;
    const QString more = u"%1 more views"_s.arg(split.insets.size() - MostInsets);
    const QFont font = textFont(0.8);
    paintLabel(
        {tile.right() - margin - 2 * size.width() - margin, tile.top() + margin}, more, QColor(10, 14, 18, 200), font);
}

/// Shows on the picture itself what the insets are taken from.
void TilePainter::paintMarks(const Split& split, const CameraPicture& picture)
{
    for (auto inset = split.insets.begin(); inset != split.insets.end(); ++inset)
        paintMark(inset.value(), inset.key(), picture);
}

void TilePainter::paintMark(const Inset& inset, int subsplitId, const CameraPicture& picture)
{
    if (inset.live)
        return;
    const bool object = inset.objectId != 0;
    const QRectF mark = onTile(object ? picture.objectRect(inset.objectId) : *inset.cutOut);
    const qreal width = std::max(1.4, tile.height() * 0.005);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(0, 0, 0, 120), width * 2));
    painter.drawRect(mark);
    painter.setPen(QPen(object ? WallColors::Playback : WallColors::DetailView, width));
    painter.drawRect(mark);
    // Below the row of the badge, which would cover it.
    const qreal badgeBottom = tile.top() + margin + QFontMetricsF(alarmFont()).height() * LabelHeight;
    paintLabel({mark.left(), std::max(mark.top(), badgeBottom)},
        object ? u"#%1"_s.arg(inset.objectId) : QString::number(subsplitId),
        object ? WallColors::Playback : WallColors::DetailView, textFont(0.72, true));
}

void TilePainter::paintInset(const Inset& inset, int subsplitId, const QRectF& target, const CameraPicture* picture)
{
    QString label = QString::number(subsplitId);
    QColor color = WallColors::DetailView;
    if (inset.live) {
        paintPicture(*inset.live, inset.fault, now, target);
        label += u"  Camera %1"_s.arg(inset.live->camera);
        color = WallColors::Live;
    } else if (!picture) {
        paintNoPicture(target, QString());
    } else if (inset.objectId != 0) {
        picture->paint(painter, target, picture->objectRect(inset.objectId));
        label += u"  Object #%1"_s.arg(inset.objectId);
        color = WallColors::Playback;
    } else {
        picture->paint(painter, target, *inset.cutOut);
        label += u"  Detail"_s;
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(0, 0, 0, 130), std::max(3.0, tile.height() * 0.012)));
    painter.drawRect(target);
    painter.setPen(QPen(color, std::max(1.5, tile.height() * 0.006)));
    painter.drawRect(target);
    const QFont font = textFont(tile.height() > 300 ? 0.6 : 0.74, true);
    const qreal room = target.width() - QFontMetricsF(font).height();
    paintLabel(target.topLeft(), QFontMetricsF(font).elidedText(label, Qt::ElideRight, room), color, font);
}

qreal TilePainter::alarmFrameWidth() const
{
    return std::max(4.0, tile.height() * 0.024);
}

void TilePainter::paintAlarmFrame()
{
    const qreal pulse = static_cast<qreal>(now % AlarmPulseMilliseconds) / AlarmPulseMilliseconds;
    const qreal strength = 0.86 + 0.14 * std::cos(2 * M_PI * pulse);
    const qreal width = alarmFrameWidth();
    QColor color = WallColors::Alarm;
    painter.setBrush(Qt::NoBrush);
    color.setAlphaF(static_cast<float>(0.16 + 0.7 * (strength - 0.72)));
    painter.setPen(QPen(color, width * 3.4, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(tile.adjusted(width * 1.7, width * 1.7, -width * 1.7, -width * 1.7));
    color = WallColors::Alarm;
    color.setAlphaF(static_cast<float>(strength));
    painter.setPen(QPen(color, width, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(tile.adjusted(width / 2, width / 2, -width / 2, -width / 2));
}
