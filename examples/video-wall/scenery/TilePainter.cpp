#include "TilePainter.h"

#include "CameraPicture.h"
#include "WallColors.h"

#include <QDateTime>
#include <QFontMetricsF>
#include <QLinearGradient>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 AlarmPulseMilliseconds = 1000;
/// More insets would hide the picture. A client may ask for any number; the others are only counted.
constexpr qsizetype MostInsets = 6;
constexpr int InsetRows = 3;
constexpr QColor Shade {6, 9, 12, 180};

QString timeText(qint64 time, const QString& format)
{
    return QDateTime::fromMSecsSinceEpoch(time).toUTC().toString(format);
}

QColor colorOf(const Inset& inset)
{
    if (inset.live)
        return WallColors::Live;
    return inset.objectId != 0 ? WallColors::Playback : WallColors::DetailView;
}

class TilePainter {
public:
    TilePainter(QPainter& painter, const QRectF& tile, const Split& split, qint64 now)
        : painter(painter)
        , tile(tile)
        , split(split)
        , now(now)
        , textSize(std::clamp(tile.height() * 0.054, 9.5, 24.0))
        , margin(std::clamp(tile.height() * 0.035, 5.0, 20.0))
    {
        if (!split.isFree() && split.fault.isEmpty())
            picture.emplace(*split.source, split.playback ? split.playback->positionAt(now) : now);
    }

    void paint(int splitId)
    {
        if (split.isFree()) {
            painter.fillRect(tile, WallColors::FreeTile);
            paintFrame(tile, WallColors::Line, 1);
            paintText(tile, Qt::AlignHCenter, QString::number(splitId), font(5), WallColors::Line.lighter(150));
        } else {
            paintPicture(tile, picture, split.fault);
            for (auto inset = split.insets.begin(); picture && inset != split.insets.end(); ++inset)
                paintMark(inset.key(), inset.value());
            if (split.alarm)
                paintAlarmGlow();
            paintCaption();
            paintLabel(tile.topRight() + QPointF(-margin, margin), QString::number(splitId), Shade, 0.95, 1);
        }
        paintInsets();
        paintBadge();
    }

private:
    /// \a scale 1 is normal text.
    QFont font(qreal scale, bool bold = false) const
    {
        QFont font(u"DejaVu Sans"_s);
        font.setPixelSize(std::max(8, static_cast<int>(std::lround(textSize * scale))));
        font.setBold(bold);
        return font;
    }

    /// A badge covers nothing below this.
    qreal badgeBottom() const { return tile.top() + margin + QFontMetricsF(font(1.35, true)).height() * 1.2; }

    /// Returns the width of the text.
    qreal paintText(const QRectF& line, int flags, const QString& text, const QFont& font, const QColor& color)
    {
        painter.setFont(font);
        painter.setPen(color);
        painter.drawText(
            line, flags | Qt::AlignVCenter, QFontMetricsF(font).elidedText(text, Qt::ElideRight, line.width()));
        return QFontMetricsF(font).horizontalAdvance(text);
    }

    /// To the right of \a corner or, with \a share 1, to the left.
    void paintLabel(const QPointF& corner, const QString& text, const QColor& color, qreal scale, qreal share = 0)
    {
        const QFontMetricsF metrics(font(scale, true));
        const qreal padding = metrics.height() * 0.34;
        QRectF label(corner, QSizeF(metrics.horizontalAdvance(text) + 2 * padding, metrics.height() * 1.16));
        label.translate(-share * label.width(), 0);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawRoundedRect(label, padding * 0.6, padding * 0.6);
        const bool isBright = color.lightness() > 110 && color != WallColors::Alarm;
        paintText(label, Qt::AlignHCenter, text, font(scale, true), isBright ? WallColors::Window : WallColors::Text);
    }

    /// Inside of \a rect.
    void paintFrame(const QRectF& rect, const QColor& color, qreal width)
    {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(color, width, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        painter.drawRect(rect.adjusted(width / 2, width / 2, -width / 2, -width / 2));
    }

    void paintPicture(const QRectF& target, const std::optional<CameraPicture>& shown, const QString& fault)
    {
        if (shown) {
            shown->paint(painter, target);
            return;
        }
        painter.fillRect(target, WallColors::Panel);
        painter.fillRect(target, QBrush(WallColors::Line, Qt::BDiagPattern));
        const qreal line = QFontMetricsF(font(1.25, true)).height();
        const QRectF upper(target.x(), target.center().y() - line, target.width(), line);
        paintText(upper, Qt::AlignHCenter, u"No picture"_s, font(1.25, true), WallColors::Text);
        paintText(upper.translated(0, line), Qt::AlignHCenter, fault, font(0.95), WallColors::MutedText);
    }

    void paintBadge()
    {
        const QPointF corner = tile.topLeft() + QPointF(margin, margin);
        if (split.alarm) {
            paintFrame(tile, WallColors::Alarm, alarmFrameWidth());
            paintLabel(corner, u"ALARM"_s, WallColors::Alarm, 1.35);
        } else if (split.playback) {
            paintLabel(corner, u"PLAYBACK"_s, WallColors::Playback, 0.8);
        } else if (picture) {
            paintLabel(corner, u"LIVE"_s, WallColors::Live, 0.8);
        }
    }

    /// Paints the right text whole, and the left one in the remaining room.
    void paintPair(const QRectF& line, const QString& left, const QFont& leftFont, const QColor& leftColor,
        const QString& right, qreal rightScale)
    {
        const qreal width = paintText(line, Qt::AlignRight, right, font(rightScale), WallColors::Text.darker(115));
        paintText(line.adjusted(0, 0, -width - margin, 0), Qt::AlignLeft, left, leftFont, leftColor);
    }

    void paintCaption()
    {
        const bool isRunning = split.playback && picture;
        const qreal height = QFontMetricsF(font(1.08, true)).height();
        const qreal shadeHeight = (isRunning ? 4.2 : 1.4) * height + 2 * margin;
        const QRectF shade(tile.x(), tile.bottom() - shadeHeight, tile.width(), shadeHeight);
        QLinearGradient gradient(shade.topLeft(), shade.bottomLeft());
        gradient.setColorAt(0, Qt::transparent);
        gradient.setColorAt(0.35, Shade);
        gradient.setColorAt(1, Shade);
        painter.fillRect(shade, gradient);

        QRectF line(tile.x() + margin, tile.bottom() - margin - height, tile.width() - 2 * margin, height);
        if (isRunning) {
            const Playback& playback = *split.playback;
            // The time of day; with the date if the range is a day or longer.
            const bool isOneDay = playback.end - playback.start < 24LL * 60 * 60 * 1000;
            const QString format = isOneDay ? u"HH:mm:ss"_s : u"dd MMM HH:mm"_s;
            paintPair(line, timeText(playback.start, format), font(0.78), WallColors::Text.darker(115),
                timeText(playback.end, format), 0.78);
            if (playback.limited)
                paintText(line, Qt::AlignHCenter, u"limits"_s, font(0.78), WallColors::MutedText);
            QRectF bar(line.x(), line.y() - textSize * 0.3, line.width(), textSize * 0.3);
            painter.fillRect(bar, QColor(255, 255, 255, 55));
            bar.setWidth(bar.width() * playback.progressAt(now));
            painter.fillRect(bar, WallColors::Playback);
            line.translate(0, -1.45 * height);
            paintPair(line, playback.track, font(0.92), WallColors::Playback,
                timeText(playback.positionAt(now), u"yyyy-MM-dd  HH:mm:ss"_s), 0.92);
            line.translate(0, -1.05 * height);
        }
        paintPair(line, split.source->recorder, font(1.08, true), WallColors::Text,
            u"Camera %1"_s.arg(split.source->camera), 0.92);
    }

    void paintInsets()
    {
        const qsizetype shown = std::min(split.insets.size(), MostInsets);
        const QSizeF size = tile.size() * (shown <= 1 ? 0.38 : shown <= 2 ? 0.32 : 0.225);
        for (int place = 0; place < shown; ++place) {
            const auto inset = std::next(split.insets.begin(), place);
            const int column = place / InsetRows; // from the right
            const int row = place % InsetRows;
            const QPointF corner(tile.right() - (column + 1) * (size.width() + margin),
                badgeBottom() + row * (size.height() + margin * 0.7));
            paintInset(inset.key(), inset.value(), QRectF(corner, size));
        }
        if (split.insets.size() > shown)
            paintLabel({tile.right() - margin - 2 * size.width() - margin, tile.top() + margin},
                u"%1 more views"_s.arg(split.insets.size() - shown), Shade, 0.8);
    }

    void paintInset(int subsplitId, const Inset& inset, const QRectF& target)
    {
        QString label = u"%1  Detail"_s.arg(subsplitId);
        if (inset.live) {
            label = u"%1  Camera %2"_s.arg(subsplitId).arg(inset.live->camera);
            paintPicture(target,
                inset.fault.isEmpty() ? std::optional<CameraPicture>(std::in_place, *inset.live, now) : std::nullopt,
                inset.fault);
        } else if (picture) {
            if (inset.objectId != 0)
                label = u"%1  Object #%2"_s.arg(subsplitId).arg(inset.objectId);
            picture->paint(painter, target, partOf(inset));
        } else {
            paintPicture(target, std::nullopt, {});
        }
        paintFrame(target, colorOf(inset), std::max(1.5, tile.height() * 0.006));
        const qreal scale = tile.height() > 300 ? 0.6 : 0.74;
        const QFontMetricsF metrics(font(scale, true));
        paintLabel(target.topLeft(), metrics.elidedText(label, Qt::ElideRight, target.width() - metrics.height()),
            colorOf(inset), scale);
    }

    /// The part of the picture that an inset shows, whole picture 0..1.
    QRectF partOf(const Inset& inset) const
    {
        return inset.objectId != 0 ? picture->objectRect(inset.objectId) : *inset.cutOut;
    }

    /// Marks the part of the picture that an inset shows.
    void paintMark(int subsplitId, const Inset& inset)
    {
        if (inset.live)
            return;
        const QRectF part = partOf(inset);
        const QRectF mark(tile.x() + part.x() * tile.width(), tile.y() + part.y() * tile.height(),
            part.width() * tile.width(), part.height() * tile.height());
        paintFrame(mark, colorOf(inset), std::max(1.4, tile.height() * 0.005));
        paintLabel({mark.left(), std::max(mark.top(), badgeBottom())},
            inset.objectId != 0 ? u"#%1"_s.arg(inset.objectId) : QString::number(subsplitId), colorOf(inset), 0.72);
    }

    qreal alarmFrameWidth() const { return std::max(4.0, tile.height() * 0.024); }

    void paintAlarmGlow()
    {
        const qreal pulse = static_cast<qreal>(now % AlarmPulseMilliseconds) / AlarmPulseMilliseconds;
        QColor color = WallColors::Alarm;
        color.setAlphaF(static_cast<float>(0.2 + 0.08 * std::cos(2 * std::numbers::pi * pulse)));
        paintFrame(tile, color, alarmFrameWidth() * 3.4);
    }

    QPainter& painter;
    QRectF tile;
    const Split& split;
    qint64 now;
    qreal textSize; ///< pixels of normal text on this tile
    qreal margin;
    std::optional<CameraPicture> picture; ///< of the split; none if it is free or has a fault
};

} // namespace

void paintTile(QPainter& painter, const QRectF& tile, int splitId, const Split& split, qint64 now)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    TilePainter(painter, tile, split, now).paint(splitId);
    painter.restore();
}
