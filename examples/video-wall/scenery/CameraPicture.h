#pragma once

#include "Split.h"

#include <QLatin1String>
#include <QPointF>
#include <QRectF>
#include <QString>

class QPainter;

/**
 * Simulates the video of a camera: a drawn scene that moves with time, different for each camera.
 *
 * The scenes are in scenery.svg. They are made of shapes, so a cut-out stays sharp however far it is enlarged.
 */
class CameraPicture {
public:
    /// \a time, in milliseconds, determines where things are.
    CameraPicture(const CameraSource& source, qint64 time);

    /// Fills \a target with the part \a cutOut of the picture, whole picture 0..1. Keeps proportions: spare room in
    /// \a target shows more of the picture.
    void paint(QPainter& painter, const QRectF& target, const QRectF& cutOut = {0, 0, 1, 1}) const;
    /// The part of the picture, whole picture 0..1, in which an object is.
    QRectF objectRect(qint64 objectId) const;

private:
    /// Something that moves, in the scene's units.
    struct Mover {
        QString thing; ///< an element of the scenery, without its colour number
        QPointF foot;
        qreal size;
    };

    Mover mover(int index) const;
    void paintScene(QPainter& painter) const;
    /// Rises from 0 to 1 again and again, once in \a period seconds; differs between cameras.
    qreal phase(qreal period, qreal offset = 0) const;

    int seed; ///< the same for the same camera
    QLatin1String scene; ///< followed by the light, an element of the scenery
    QLatin1String light; ///< day or night; night includes dusk
    qreal seconds;
};
