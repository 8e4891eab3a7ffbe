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
 * The grid has as many rows as columns, so the splits of a 16:9 area are 16:9, too.
 */
class SplitLayout {
public:
    /// The layout of a split mode, which is the number of its equal splits; nullopt for an unknown mode.
    static std::optional<SplitLayout> ofSplitMode(int splitMode);
    /// The layout with this name, ignoring case; nullopt for an unknown name.
    static std::optional<SplitLayout> named(const QString& name);
    /// The names of all layouts, in the order in which to offer them.
    static QStringList names();

    QString name() const { return layoutName; }
    int splitCount() const { return static_cast<int>(cells.size()); }
    /// The place of a split in \a area, with \a gap between neighbours.
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
 * The document is client text and may be anything. If it is not well-formed, there is a problem, even if it has a name.
 */
struct LayoutDocument {
    explicit LayoutDocument(const QString& document);

    QString layoutName; ///< invalid if there is a problem
    QString problem; ///< human-readable; empty if there is a name
};

/// A stored view of the whole wall: a layout, and the live pictures of its splits in the order of their ids.
struct Preset {
    QString name;
    SplitLayout layout;
    QList<CameraSource> sources;
};

/// The presets of the wall, in the order in which to offer them.
QList<Preset> storedPresets();
