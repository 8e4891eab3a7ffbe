#include "TextLine.h"

#include <QColor>
#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>

namespace {

constexpr qreal GapBetweenTexts = 8;

} // namespace

QFont smaller(QFont font)
{
    font.setPixelSize(std::max(9, font.pixelSize() - 2));
    return font;
}

QFont headingOf(QFont font)
{
    font.setBold(true);
    font.setPixelSize(std::max(9, font.pixelSize() - 1));
    return font;
}

void paintLine(QPainter& painter, const QRectF& line, const QString& text, const QFont& font, const QColor& color)
{
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(
        line, Qt::AlignLeft | Qt::AlignVCenter, QFontMetricsF(font).elidedText(text, Qt::ElideRight, line.width()));
}

QRectF paintLineRight(
    QPainter& painter, const QRectF& line, const QString& text, const QFont& font, const QColor& color)
{
    const qreal width = std::min(line.width(), QFontMetricsF(font).horizontalAdvance(text) + 1);
    paintLine(painter, line.adjusted(line.width() - width, 0, 0, 0), text, font, color);
    return line.adjusted(0, 0, -width - GapBetweenTexts, 0);
}
