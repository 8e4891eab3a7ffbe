#pragma once

#include <QMap>
#include <QRectF>
#include <QString>

#include <algorithm>
#include <optional>

/// A camera of a recorder. The recorder's cameras are numbered from 1.
struct CameraSource {
    QString recorder;
    int camera = 1;

    bool operator==(const CameraSource&) const = default;
};

/// A recorded track being played. All times are milliseconds since 1970, UTC.
struct Playback {
    QString track; ///< its name on the tile
    qint64 start = 0; ///< start of the range
    qint64 end = 0; ///< end of the range, where the playback stops
    bool limited = false; ///< whether the client gave the range; otherwise it is the track's own
    qint64 from = 0; ///< where the playback began
    qint64 startedAt = 0; ///< when it began

    qint64 positionAt(qint64 now) const { return std::clamp(from + std::max<qint64>(now - startedAt, 0), start, end); }
    /// From 0 at the start of the range to 1 at its end.
    double progressAt(qint64 now) const
    {
        return end <= start ? 1 : static_cast<double>(positionAt(now) - start) / static_cast<double>(end - start);
    }
};

/// A small picture inside a split, identified by its sub-split id.
struct Inset {
    std::optional<QRectF> cutOut; ///< the part of the split's picture that it enlarges; the whole picture is 0..1
    qint64 objectId = 0; ///< the object of the split's picture that it follows, 0 for none
    std::optional<CameraSource> live; ///< a camera of its own
    QString fault; ///< why that camera has no picture
};

/// What one split shows.
struct Split {
    std::optional<CameraSource> source; ///< none: the split is free
    std::optional<Playback> playback; ///< none: the picture is live
    bool alarm = false;
    QString fault; ///< why there is no picture
    QMap<int, Inset> insets; ///< by sub-split id
    quint64 shownInOrder = 0; ///< rises with each picture shown anywhere on the wall

    bool isFree() const { return !source.has_value(); }
};
