#pragma once

#include "CameraPicture.h"
#include "Split.h"

#include <QFont>
#include <QRectF>

class QPainter;

/// Paints one split at one moment. All sizes follow the size of the tile.
class TilePainter {
public:
    /// \a now in milliseconds since 1970, UTC. \a painter and \a split must outlive this object.
    TilePainter(QPainter& painter, const QRectF& tile, qint64 now);

    void paint(int splitId, const Split& split);

private:
    void paintFree(int splitId);
    void paintPicture(const CameraSource& source, const QString& fault, qint64 time, const QRectF& target);
    void paintNoPicture(const QRectF& target, const QString& fault);
    void paintBadge(const Split& split);
    void paintSplitNumber(int splitId);
    void paintCaption(const Split& split);
    void paintProgress(const Playback& playback, const QRectF& bar);
    void paintInsets(const Split& split, const CameraPicture& picture);
    /// \a picture is that of the split, null when it has none.
    void paintInset(const Inset& inset, int subsplitId, const QRectF& target, const CameraPicture* picture);
    void paintMarks(const Split& split, const CameraPicture& picture);
    void paintMark(const Inset& inset, int subsplitId, const CameraPicture& picture);
    void paintAlarmFrame();
    qreal alarmFrameWidth() const;
    qint64 pictureTime(const Split& split) const;
    QRectF onTile(const QRectF& part) const;
    void paintLabel(const QPointF& topLeft, const QString& text, const QColor& color, const QFont& font);
    void paintTextLine(const QRectF& line, int flags, const QString& text, const QFont& font, const QColor& color);
    QFont textFont(qreal scale, bool bold = false) const;
    QFont alarmFont() const;

    QPainter& painter;
    QRectF tile;
    qint64 now;
    qreal textSize; ///< pixels of ordinary text on this tile
    qreal margin;
};
