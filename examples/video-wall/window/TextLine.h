#pragma once

#include <QFont>
#include <QString>

class QColor;
class QPainter;
class QRectF;

/// For text beside or below the main text; still readable.
QFont smaller(QFont font);
/// For the first line of a list entry.
QFont headingOf(QFont font);

/// Paints one line of text, elided if it does not fit.
void paintLine(QPainter& painter, const QRectF& line, const QString& text, const QFont& font, const QColor& color);
/// The same at the right edge. \return the remaining room
QRectF paintLineRight(
    QPainter& painter, const QRectF& line, const QString& text, const QFont& font, const QColor& color);
