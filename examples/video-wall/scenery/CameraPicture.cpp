#include "CameraPicture.h"

#include <QPainter>
#include <QStringList>
#include <QSvgRenderer>
#include <QTransform>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

using namespace Qt::StringLiterals;

namespace {

/// The scenes are drawn in these units.
constexpr QRectF Whole {0, 0, 160, 90};
constexpr int Movers = 3;
constexpr int Colors = 4; // of each thing
constexpr qreal FullTurn = 2 * std::numbers::pi;

/// Draws an element of scenery.svg by its id, with its point 0,0 at \a origin.
void draw(QPainter& painter, const QString& element, const QPointF& origin = {}, qreal size = 1)
{
    static QSvgRenderer scenery(u":/scenery.svg"_s);
    painter.save();
    painter.translate(origin);
    painter.scale(size, size);
    scenery.render(&painter, element, scenery.boundsOnElement(element));
    painter.restore();
}

} // namespace

CameraPicture::CameraPicture(const CameraSource& source, qint64 time)
    // Names of recorders tend to be similar: the checksum spreads them.
    : seed(qChecksum(source.recorder.toUtf8()) + source.camera)
    , light((seed / 5) % 2 == 1 ? "-night"_L1 : "-day"_L1)
    , seconds(static_cast<qreal>(time) / 1000.0)
{
    // Every other camera shows the scene that the recorder is named after, the others various scenes.
    static constexpr std::array scenes {"road"_L1, "harbour"_L1, "hall"_L1, "car-park"_L1};
    static const QStringList homes {u"North gate"_s, u"Harbour basin"_s, u"Main hall"_s, u"Car park"_s};
    const qsizetype home = source.camera % 2 != 0 ? homes.indexOf(source.recorder) : -1;
    scene = scenes.at(static_cast<size_t>(home >= 0 ? home : seed % qsizetype(scenes.size())));
}

qreal CameraPicture::phase(qreal period, qreal offset) const
{
    const qreal turns = seconds / period + offset + static_cast<qreal>(seed % 97) / 97;
    return turns - std::floor(turns);
}

void CameraPicture::paint(QPainter& painter, const QRectF& target, const QRectF& cutOut) const
{
    const QRectF part = QTransform::fromScale(Whole.width(), Whole.height()).mapRect(cutOut);
    const qreal scale = std::min(target.width() / part.width(), target.height() / part.height());
    painter.save();
    painter.setClipRect(target, Qt::IntersectClip);
    painter.fillRect(target, Qt::black);
    painter.translate(target.center());
    painter.scale(scale, scale);
    painter.translate(-part.center());
    painter.setClipRect(Whole, Qt::IntersectClip);
    paintScene(painter);
    painter.restore();
}

QRectF CameraPicture::objectRect(qint64 objectId) const
{
    const Mover object = mover(static_cast<int>(std::abs(objectId % Movers)));
    const qreal share = std::clamp(object.size * 1.7, 12.0, 60.0) / Whole.height();
    const QPointF center(object.foot.x() / Whole.width(), (object.foot.y() - object.size * 0.4) / Whole.height());
    return {std::clamp(center.x() - share / 2, 0.0, 1 - share), std::clamp(center.y() - share / 2, 0.0, 1 - share),
        share, share};
}

/// A "way" of 0 is far away, where things are small and move little; 1 is at the lower edge.
CameraPicture::Mover CameraPicture::mover(int index) const
{
    if (scene == "harbour"_L1)
        return {u"boat-"_s, {230 * phase(30 + 9 * index) - 30, 67 + 8 * index + 0.7 * std::sin(FullTurn * phase(3))},
            15.0 + 7 * index};
    if (scene == "hall"_L1) {
        const qreal way = 0.5 - 0.5 * std::cos(FullTurn * phase(22, index * 0.37));
        return {u"person-"_s, {80 + (index - 1) * (9 + 24 * way), 54 + 33 * way * way}, 12 + 30 * way * way};
    }
    const qreal way = 0.1 + phase(7, index / 3.0) * 1.1;
    return {u"car-"_s, {81 + (index != 1 ? -30 : 28) * way * way, 34 + 56 * way * way}, 2 + 20 * way * way};
}

void CameraPicture::paintScene(QPainter& painter) const
{
    const bool isHall = scene == "hall"_L1;
    const bool isHarbour = scene == "harbour"_L1;
    if (!isHall && !isHarbour) {
        draw(painter, u"land"_s + light);
        draw(painter, u"skyline"_s + light, {-static_cast<qreal>(seed % 64), 0});
    }
    draw(painter, QString(scene) + light);
    if (isHarbour) {
        draw(painter, u"waves"_s, {40 * phase(20) - 40, 0});
        draw(painter, u"load"_s, {46 + 12 * std::sin(FullTurn * phase(16)), 0});
        draw(painter, u"port"_s + light);
    }
    for (int index = 0; index < Movers; ++index) {
        const Mover moved = mover(index);
        const qreal stride = 0.06 * moved.size * std::sin(FullTurn * phase(1.1, index * 0.3));
        for (int side = -1; isHall && side <= 1; side += 2)
            draw(painter, u"leg"_s, moved.foot + QPointF(side * stride, 0), moved.size);
        draw(painter, moved.thing + QString::number((seed + index) % Colors), moved.foot, moved.size);
    }
}
