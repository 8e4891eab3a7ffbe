#pragma once

#include "Split.h"

#include <QList>
#include <QRect>
#include <QRectF>
#include <QString>

#include <optional>

/**
 * How the wall is divided into splits: rectangles on a square grid, in the order of their split ids.
 *
 * The grid is as many rows as columns, so the splits of a 16:9 area are 16:9 themselves.
 */
class SplitLayout {
public:
    /// The layout of a split mode: as many equal splits as the number says. None for a mode that the wall lacks.
    static std::optional<SplitLayout> ofSplitMode(int splitMode);
    /// The layout with a name, in any case of letters. None for a name that the wall lacks.
    static std::optional<SplitLayout> named(const QString& name);
    /// The names of all layouts, in the order to offer them.
    static QStringList names();

    QString name() const { return layoutName; }
    int splitCount() const { return static_cast<int>(cells.size()); }
    /// Where a split lies in \a area, with \a gap between neighbours.
    QRectF splitRect(int splitId, const QRectF& area, qreal gap) const;

private:
    SplitLayout(QString name, int gridSize, QList<QRect> cells);
    static QList<SplitLayout> all();
    static SplitLayout equalSplits(const QString& name, int gridSize);

    QString layoutName;
    int gridSize;
    QList<QRect> cells; ///< in grid units
};

/**
 * What a setSplitMode document says about the layout, in a child element "layoutname".
 *
 * The document is client text and may be anything; one that is not well formed has a problem, whatever it names.
 */
struct LayoutDocument {
    explicit LayoutDocument(const QString& document);

    QString layoutName; ///< of no use when there is a problem
    QString problem; ///< in words for people; empty when there is a name
};

/// A stored view of the whole wall: a layout, and the live pictures in its splits in the order of the split ids.
struct Preset {
    QString name;
    SplitLayout layout;
    QList<CameraSource> sources;
};

/// The presets of the wall, in the order to offer them.
QList<Preset> storedPresets();
