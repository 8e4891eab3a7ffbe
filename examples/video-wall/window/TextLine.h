#pragma once

#include <QFont>
#include <QString>

class QColor;
class QPainter;
class QRectF;

/// For what stands beside or below the main text; it stays readable.
QFont smaller(QFont font);
/// For the first line of an entry of a list.
QFont headingOf(QFont font);

/// One line of text, elided where it has no room.
void paintLine(QPainter& painter, const QRectF& line, const QString& text, const QFont& font, const QColor& color);
/// The same at the right edge. \return the room that it leaves
QRectF paintLineRight(
    QPainter& painter, const QRectF& line, const QString& text, const QFont& font, const QColor& color);
