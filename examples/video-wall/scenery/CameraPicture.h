#pragma once

#include "Split.h"

#include <QLatin1String>
#include <QPointF>
#include <QRectF>
#include <QString>

class QPainter;

/**
 * Stands in for the video of a camera: a drawn scene that moves with the time, another one for each camera.
 *
 * The scenes are in scenery.svg. They are made of shapes, so that a cut-out stays sharp however far it is enlarged.
 */
class CameraPicture {
public:
    /// \a time in milliseconds decides where things have moved to.
    CameraPicture(const CameraSource& source, qint64 time);

    /// Fills \a target with the part \a cutOut of the picture, whole picture 0..1. Keeps the shape of things: what
    /// \a target has room for beside the cut-out is picture as well.
    void paint(QPainter& painter, const QRectF& target, const QRectF& cutOut = {0, 0, 1, 1}) const;
    /// The part of the picture, whole picture 0..1, in which an object is.
    QRectF objectRect(qint64 objectId) const;

private:
    /// Something that moves, in the scene's units.
    struct Mover {
        QString thing; ///< an element of the scenery, but for the number of its colour
        QPointF foot;
        qreal size;
    };

    Mover mover(int index) const;
    void paintScene(QPainter& painter) const;
    /// Rises from 0 to 1 again and again, once in \a period seconds; cameras are out of step with each other.
    qreal phase(qreal period, qreal offset = 0) const;

    int seed; ///< the same for the same camera
    QLatin1String scene; ///< with the light behind it an element of the scenery
    QLatin1String light; ///< night takes in dusk
    qreal seconds;
};
