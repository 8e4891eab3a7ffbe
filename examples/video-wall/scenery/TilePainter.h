#pragma once

#include "Split.h"

class QPainter;
class QRectF;

/// Paints one split into \a tile, as it is at \a now (milliseconds since 1970, UTC). All sizes follow the tile's.
void paintTile(QPainter& painter, const QRectF& tile, int splitId, const Split& split, qint64 now);
