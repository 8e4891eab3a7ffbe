#pragma once

#include "Split.h"

#include <QList>
#include <QString>

#include <optional>

/// A recording. Its times are milliseconds since 1970, UTC.
struct Track {
    QString name;
    qint64 start = 0;
    qint64 end = 0;
};

struct Recorder {
    QString name;
    QString address;
    QString userName;
    QString password;
    int channels = 0;
    QList<Track> tracks; ///< a track's id is its position, counted from 1
};

/// The recorders that the wall can show. There is always at least one.
class RecorderCatalogue {
public:
    RecorderCatalogue();

    const QList<Recorder>& all() const { return recorders; }
    /// The recorder with this name; null if there is none. Valid until the next addFound().
    const Recorder* find(const QString& name) const;
    /// Fills in what a client has left out: the first recorder for an empty name, the first camera for -1.
    CameraSource completed(const CameraSource& source) const;
    /// Why a camera has no picture; empty if it has one.
    QString faultOf(const CameraSource& source) const;
    /// Adds what a refresh finds: a recorder the first time, then a track each time. \return a text that names it
    QString addFound();

private:
    void add(const QString& name, int channels, int trackCount);

    QList<Recorder> recorders;
};
