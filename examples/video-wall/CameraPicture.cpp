#include "CameraPicture.h"

#include <QColor>
#include <QHash>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <QRadialGradient>

#include <array>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

/// The scenes are drawn in these units.
constexpr QSizeF Scene {160, 90};
constexpr qreal RoadHorizon = 34;
constexpr int MoversInScene = 3;
constexpr qint64 MillisecondsPerDay = 24LL * 60 * 60 * 1000;
constexpr qreal Pi = 3.14159265358979;

quint32 seedOf(const CameraSource& source)
{
    quint32 seed = 0;
    for (const QChar character : source.recorder)
        seed = seed * 33 + character.unicode();
    // Names of recorders tend to be alike; spread them.
    seed = (seed ^ (seed >> 15)) * 0x2c1b3c6dU;
    return (seed ^ (seed >> 12)) + static_cast<quint32>(source.camera);
}

void fill(QPainter& painter, const QRectF& rect, const QColor& top, const QColor& bottom)
{
    QLinearGradient gradient(rect.topLeft(), rect.bottomLeft());
    gradient.setColorAt(0, top);
    gradient.setColorAt(1, bottom);
    painter.fillRect(rect, gradient);
}

void paintGlow(QPainter& painter, const QPointF& center, qreal radius, const QColor& color)
{
    QRadialGradient gradient(center, radius);
    gradient.setColorAt(0, color);
    QColor outside = color;
    outside.setAlpha(0);
    gradient.setColorAt(1, outside);
    painter.setBrush(gradient);
    painter.drawEllipse(center, radius, radius);
}

/// A car from above, \a size long, that points to the right.
void paintCarFromAbove(QPainter& painter, const QPointF& center, qreal length, const QColor& color)
{
    const QRectF body(center.x() - length / 2, center.y() - length / 4, length, length / 2);
    painter.setBrush(QColor(0, 0, 0, 70));
    painter.drawRoundedRect(body.translated(0.6, 0.9), length / 7, length / 7);
    painter.setBrush(color);
    painter.drawRoundedRect(body, length / 7, length / 7);
    painter.setBrush(QColor(18, 24, 30, 200));
    painter.drawRoundedRect(body.adjusted(length * 0.24, length * 0.05, -length * 0.2, -length * 0.05), 1, 1);
    painter.setBrush(color.lighter(112));
    painter.drawRect(body.adjusted(length * 0.36, length * 0.06, -length * 0.34, -length * 0.06));
}

/// A car that comes nearer, seen from the front. \a size is its width.
void paintCarFromFront(QPainter& painter, const QPointF& foot, qreal size, const QColor& color)
{
    painter.setBrush(QColor(0, 0, 0, 110));
    painter.drawEllipse(foot, size * 0.62, size * 0.12);
    const QRectF body(foot.x() - size / 2, foot.y() - size * 0.45, size, size * 0.4);
    const QRectF cabin(foot.x() - size * 0.36, foot.y() - size * 0.75, size * 0.72, size * 0.4);
    painter.setBrush(color.darker(125));
    painter.drawRoundedRect(cabin, size * 0.12, size * 0.12);
    painter.setBrush(QColor(30, 40, 50));
    painter.drawRoundedRect(
        cabin.adjusted(size * 0.06, size * 0.06, -size * 0.06, -size * 0.1), size * 0.06, size * 0.06);
    painter.setBrush(color);
    painter.drawRoundedRect(body, size * 0.09, size * 0.09);
    for (const qreal side : {-0.34, 0.34}) {
        const QPointF lamp(foot.x() + size * side, foot.y() - size * 0.25);
        paintGlow(painter, lamp, size * 0.34, QColor(255, 240, 200, 150));
        painter.setBrush(QColor(255, 248, 225));
        painter.drawEllipse(lamp, size * 0.07, size * 0.05);
    }
}

/// A standing figure whose feet are at \a foot.
void paintPerson(QPainter& painter, const QPointF& foot, qreal height, qreal step, const QColor& color)
{
    painter.setBrush(QColor(0, 0, 0, 80));
    painter.drawEllipse(foot, height * 0.2, height * 0.05);
    const qreal swing = std::sin(step * 2 * Pi) * height * 0.11;
    const QPointF hip(foot.x(), foot.y() - height * 0.45);
    painter.setPen(QPen(color.darker(150), height * 0.09, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(hip, foot + QPointF(swing, 0));
    painter.drawLine(hip, foot - QPointF(swing, 0));
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(hip.x() - height * 0.12, foot.y() - height * 0.82, height * 0.24, height * 0.42),
        height * 0.1, height * 0.1);
    painter.setBrush(QColor(214, 176, 150));
    painter.drawEllipse(QPointF(hip.x(), foot.y() - height * 0.91), height * 0.085, height * 0.095);
}

QColor bodyColor(quint32 number)
{
    static constexpr std::array<QColor, 6> colors {QColor(171, 66, 58), QColor(62, 98, 140), QColor(206, 210, 212),
        QColor(70, 76, 82), QColor(196, 158, 84), QColor(78, 120, 100)};
    return colors.at(number % colors.size());
}

} // namespace

CameraPicture::SceneKind CameraPicture::sceneOf(const CameraSource& source)
{
    using enum SceneKind;
    static const QHash<QString, SceneKind> homes {
        {u"North gate"_s, Road}, {u"Car park"_s, CarPark}, {u"Harbour basin"_s, Harbour}, {u"Main hall"_s, Hall}};
    // Every other camera looks at what the recorder is named after, the rest at this and that.
    if (source.camera % 2 != 0 && homes.contains(source.recorder))
        return homes.value(source.recorder);
    static constexpr std::array sequence {Road, Harbour, Hall, CarPark, Road, Harbour, TestCard, CarPark, Hall};
    return sequence.at(seedOf(source) % sequence.size());
}

CameraPicture::CameraPicture(const CameraSource& source, qint64 time)
    : seed(seedOf(source))
    , scene(sceneOf(source))
    , seconds(static_cast<qreal>(time % MillisecondsPerDay) / 1000.0)
{
}

qreal CameraPicture::phase(qreal period, qreal offset) const
{
    const qreal turns = seconds / period + offset + static_cast<qreal>(seed % 97) / 97;
    return turns - std::floor(turns);
}

void CameraPicture::paint(QPainter& painter, const QRectF& target) const
{
    paintCutOut(painter, target, QRectF(0, 0, 1, 1));
}

void CameraPicture::paintCutOut(QPainter& painter, const QRectF& target, const QRectF& cutOut) const
{
    const QRectF part(cutOut.x() * Scene.width(), cutOut.y() * Scene.height(), cutOut.width() * Scene.width(),
        cutOut.height() * Scene.height());
    const qreal scale = std::min(target.width() / part.width(), target.height() / part.height());
    painter.save();
    painter.setClipRect(target, Qt::IntersectClip);
    painter.fillRect(target, Qt::black);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(target.center());
    painter.scale(scale, scale);
    painter.translate(-part.center());
    painter.setPen(Qt::NoPen);
    paintScene(painter);
    painter.restore();
}

QRectF CameraPicture::objectRect(qint64 objectId) const
{
    const Mover mover = sceneMover(static_cast<int>(std::abs(objectId % MoversInScene)));
    const qreal height = std::clamp(mover.size * 1.7, 12.0, 60.0);
    const QSizeF size(height * Scene.width() / Scene.height(), height);
    const QPointF corner(std::clamp(mover.center.x() - size.width() / 2, 0.0, Scene.width() - size.width()),
        std::clamp(mover.center.y() - size.height() / 2, 0.0, Scene.height() - size.height()));
    return {corner.x() / Scene.width(), corner.y() / Scene.height(), size.width() / Scene.width(),
        size.height() / Scene.height()};
}

CameraPicture::Mover CameraPicture::sceneMover(int index) const
{
    switch (scene) {
    case SceneKind::Road: {
        const Mover car = roadCar(index);
        return {car.center - QPointF(0, car.size * 0.4), car.size};
    }
    case SceneKind::Harbour:
        return {boat().center + QPointF(20, -2), 23};
    case SceneKind::CarPark:
        return carOnLane(index);
    case SceneKind::Hall: {
        const Mover person = hallPerson(index);
        return {person.center - QPointF(0, person.size / 2), person.size};
    }
    case SceneKind::TestCard:
        break;
    }
    return {{80, 45}, 30};
}

CameraPicture::Mover CameraPicture::roadCar(int index) const
{
    const qreal way = 0.1 + phase(7, index / 3.0) * 1.1;
    const bool left = index != 1;
    return {{81 + (left ? -30 : 28) * way * way, RoadHorizon + 56 * way * way}, 2 + 20 * way * way};
}

CameraPicture::Mover CameraPicture::boat() const
{
    return {{-40 + 230 * phase(30), 68 + 0.7 * std::sin(2 * Pi * phase(3))}, 40};
}

CameraPicture::Mover CameraPicture::hallPerson(int index) const
{
    const qreal way = 0.5 - 0.5 * std::cos(2 * Pi * phase(22, index * 0.37));
    return {{80 + (index - 1) * (9 + 24 * way), 54 + 33 * way * way}, 12 + 30 * way * way};
}

CameraPicture::Mover CameraPicture::carOnLane(int index) const
{
    if (index == 0)
        return {{-20 + 200 * phase(12), 52.5}, 18};
    return {{180 - 200 * phase(17, 0.4), 38}, 18};
}

void CameraPicture::paintScene(QPainter& painter) const
{
    switch (scene) {
    case SceneKind::Road:
        return paintRoad(painter);
    case SceneKind::Harbour:
        return paintHarbour(painter);
    case SceneKind::CarPark:
        return paintCarPark(painter);
    case SceneKind::Hall:
        return paintHall(painter);
    case SceneKind::TestCard:
        return paintTestCard(painter);
    }
}

void CameraPicture::paintRoad(QPainter& painter) const
{
    const bool night = (seed / 9) % 2 == 1;
    const qreal horizon = RoadHorizon;
    fill(painter, QRectF(0, 0, 160, horizon), night ? QColor(12, 18, 34) : QColor(108, 132, 158),
        night ? QColor(44, 50, 72) : QColor(206, 200, 190));
    for (int building = 0; building < 13; ++building) {
        const qreal height = 6 + static_cast<qreal>((seed * 7 + static_cast<quint32>(building * building) * 13) % 17);
        const QRectF block(building * 13 - 4, horizon - height, 11.5, height);
        painter.fillRect(block, night ? QColor(24, 29, 44) : QColor(112, 122, 134));
        const int litWindows = night ? static_cast<int>((height - 4) / 3.4) + 1 : 0;
        for (int window = 0; window < litWindows; ++window) {
            const qreal y = block.top() + 2 + window * 3.4;
            painter.fillRect(QRectF(block.x() + 2 + std::fmod(y * 7, 6), y, 1.6, 1.4), QColor(240, 205, 130, 150));
        }
    }
    fill(painter, QRectF(0, horizon, 160, 56), night ? QColor(26, 34, 32) : QColor(112, 124, 102),
        night ? QColor(14, 20, 19) : QColor(76, 92, 70));
    painter.setBrush(night ? QColor(36, 39, 46) : QColor(88, 92, 98));
    painter.drawPolygon(QPolygonF {{74, horizon}, {88, horizon}, {158, 90}, {2, 90}});

    const auto roadY = [horizon](qreal way) { return horizon + 56 * way * way; };
    painter.setBrush(QColor(225, 225, 215, night ? 120 : 190));
    for (int dash = 0; dash < 9; ++dash) {
        const qreal near = std::min(1.0, (dash + phase(1.6)) / 9);
        const qreal far = std::max(0.0, near - 0.045);
        painter.drawPolygon(QPolygonF {{81 - near * 1.1, roadY(near)}, {81 + near * 1.1, roadY(near)},
            {81 + far * 1.1, roadY(far)}, {81 - far * 1.1, roadY(far)}});
    }
    for (int lamp = 3; lamp >= 1; --lamp) {
        const qreal way = lamp / 3.4;
        const QPointF foot(84 + 66 * way * way, roadY(way) - 2);
        painter.fillRect(QRectF(foot.x(), foot.y() - 44 * way, 1.1 * way, 44 * way), QColor(52, 57, 63));
        painter.fillRect(QRectF(foot.x() - 8 * way, foot.y() - 44 * way, 8 * way, way), QColor(52, 57, 63));
        if (night)
            paintGlow(painter, {foot.x() - 8 * way, foot.y() - 43 * way}, 13 * way, QColor(255, 214, 140, 120));
    }
    for (const int car : {0, 1, 2}) {
        const Mover mover = roadCar(car);
        paintCarFromFront(painter, mover.center, mover.size, bodyColor(seed + static_cast<quint32>(car)));
    }
}

void CameraPicture::paintHarbour(QPainter& painter) const
{
    const bool dusk = (seed / 9) % 2 == 1;
    const qreal horizon = 40;
    fill(painter, QRectF(0, 0, 160, horizon), dusk ? QColor(54, 56, 92) : QColor(122, 150, 172),
        dusk ? QColor(222, 142, 104) : QColor(214, 220, 220));
    if (dusk)
        paintGlow(painter, {112, horizon - 3}, 22, QColor(255, 214, 150, 200));
    painter.setBrush(dusk ? QColor(52, 46, 68) : QColor(120, 136, 146));
    painter.drawPolygon(
        QPolygonF {{0, horizon}, {0, 33}, {26, 29}, {50, 35}, {84, 31}, {122, 36}, {160, 30}, {160, horizon}});
    fill(painter, QRectF(0, horizon, 160, 50), dusk ? QColor(122, 92, 98) : QColor(96, 130, 142),
        dusk ? QColor(24, 32, 54) : QColor(32, 66, 82));
    painter.setBrush(QColor(255, 255, 255, 34));
    for (int wave = 0; wave < 34; ++wave) {
        const qreal y = horizon + 2 + std::pow(wave / 34.0, 1.6) * 48;
        const qreal length = 4 + (y - horizon) * 0.32;
        const qreal x = std::fmod(wave * 53.7 + 190 * phase(60 - wave), 190) - 20;
        painter.drawRoundedRect(QRectF(x, y, length, 0.25 + (y - horizon) * 0.012), 0.3, 0.3);
    }

    const QColor steel = dusk ? QColor(34, 32, 46) : QColor(72, 86, 96);
    painter.setPen(QPen(steel, 1.1));
    for (const qreal x : {20.0, 32.0})
        painter.drawLine(QPointF(x, 56), QPointF(x + (x < 25 ? 3 : -3), 14));
    painter.drawLine(QPointF(6, 14), QPointF(64, 14));
    painter.drawLine(QPointF(26, 6), QPointF(62, 14));
    painter.drawLine(QPointF(26, 6), QPointF(8, 14));
    painter.drawLine(QPointF(26, 6), QPointF(26, 14));
    const qreal trolley = 34 + 24 * (0.5 + 0.5 * std::sin(2 * Pi * phase(16)));
    painter.drawLine(QPointF(trolley, 14), QPointF(trolley, 30));
    painter.setPen(Qt::NoPen);
    painter.fillRect(QRectF(trolley - 4, 30, 8, 4), bodyColor(seed));
    painter.setBrush(dusk ? QColor(38, 36, 48) : QColor(112, 114, 112));
    painter.drawPolygon(QPolygonF {{0, 53}, {52, 53}, {38, 62}, {0, 64}});
    for (int box = 0; box < 6; ++box) {
        const int column = box % 3;
        const int layer = box / 3;
        painter.fillRect(
            QRectF(1 + column * 6.2, 49 - layer * 4.2, 5.8, 4), bodyColor(seed + static_cast<quint32>(box)));
    }

    const qreal x = boat().center.x();
    const qreal y = boat().center.y();
    painter.setBrush(QColor(0, 0, 0, 60));
    painter.drawEllipse(QRectF(x - 2, y + 4, 42, 5));
    painter.setBrush(QColor(236, 238, 238));
    painter.drawRect(QRectF(x + 7, y - 8, 14, 9));
    painter.drawRect(QRectF(x + 10, y - 12, 8, 5));
    painter.fillRect(QRectF(x + 11, y - 11, 6, 2), QColor(40, 54, 66));
    painter.setBrush(bodyColor(seed + 1));
    painter.drawPolygon(QPolygonF {{x, y}, {x + 40, y - 1.5}, {x + 34, y + 7}, {x + 4, y + 7}});
}

void CameraPicture::paintHall(QPainter& painter) const
{
    const QColor wall = (seed / 9) % 2 == 1 ? QColor(150, 146, 136) : QColor(140, 152, 162);
    painter.fillRect(QRectF(0, 0, 160, 90), wall);
    const QRectF end(62, 28, 36, 24);
    painter.setBrush(wall.lighter(128));
    painter.drawPolygon(QPolygonF {{0, 0}, {160, 0}, end.topRight(), end.topLeft()});
    painter.setBrush(wall.darker(122));
    painter.drawPolygon(QPolygonF {{0, 0}, end.topLeft(), end.bottomLeft(), {0, 90}});
    painter.setBrush(wall.darker(112));
    painter.drawPolygon(QPolygonF {{160, 0}, end.topRight(), end.bottomRight(), {160, 90}});
    QLinearGradient floor(0, 50, 0, 90);
    floor.setColorAt(0, QColor(112, 106, 98));
    floor.setColorAt(1, QColor(66, 64, 62));
    painter.setBrush(floor);
    painter.drawPolygon(QPolygonF {end.bottomLeft(), end.bottomRight(), {160, 90}, {0, 90}});
    painter.setPen(QPen(QColor(255, 255, 255, 26), 0.5));
    for (int line = -6; line <= 6; ++line)
        painter.drawLine(QPointF(80 + line * 3, 52), QPointF(80 + line * 13.4, 90));
    for (const qreal y : {54.5, 58.5, 64.5, 73.5, 86.0})
        painter.drawLine(QPointF(0, y), QPointF(160, y));
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 252, 238));
    for (const qreal way : {0.12, 0.4, 0.75}) {
        const qreal y = 26 - 25 * way;
        painter.drawPolygon(QPolygonF {
            {76 - 9 * way, y}, {84 + 9 * way, y}, {84 + 12 * way, y - 5 * way}, {76 - 12 * way, y - 5 * way}});
    }
    painter.setBrush(QColor(82, 94, 104));
    painter.drawPolygon(QPolygonF {{18, 25}, {36, 30}, {36, 67}, {18, 79}});
    painter.drawPolygon(QPolygonF {{142, 25}, {124, 30}, {124, 67}, {142, 79}});
    painter.fillRect(QRectF(72, 34, 7.6, 18), QColor(96, 112, 122));
    painter.fillRect(QRectF(80.4, 34, 7.6, 18), QColor(96, 112, 122));
    painter.fillRect(QRectF(77, 30, 6, 2.6), QColor(70, 190, 130));
    for (const int person : {0, 1, 2}) {
        const Mover mover = hallPerson(person);
        paintPerson(painter, mover.center, mover.size, phase(1.1, person * 0.3),
            bodyColor(seed + static_cast<quint32>(person)));
    }
}

void CameraPicture::paintCarPark(QPainter& painter) const
{
    const bool infrared = (seed / 9) % 2 == 1;
    fill(painter, QRectF(0, 0, 160, 90), QColor(82, 88, 92), QColor(62, 67, 72));
    painter.setBrush(QColor(82, 104, 76));
    painter.drawRect(QRectF(0, 0, 160, 6));
    painter.drawRect(QRectF(0, 84, 160, 6));
    painter.setPen(QPen(QColor(226, 228, 222, 150), 0.6));
    for (int bay = 0; bay <= 11; ++bay) {
        const qreal x = 6 + bay * 13.5;
        painter.drawLine(QPointF(x, 8), QPointF(x, 30));
        painter.drawLine(QPointF(x, 60), QPointF(x, 82));
    }
    painter.setPen(QPen(QColor(226, 228, 222, 110), 0.7, Qt::DashLine));
    painter.drawLine(QPointF(0, 45), QPointF(160, 45));
    painter.setPen(Qt::NoPen);
    for (quint32 bay = 0; bay < 22; ++bay) {
        if ((seed * 5 + bay * bay * 3 + bay) % 7 < 2)
            continue;
        painter.save();
        painter.translate(12.75 + (bay % 11) * 13.5, bay < 11 ? 19 : 71);
        painter.rotate(bay < 11 ? -90 : 90);
        paintCarFromAbove(painter, {0, 0}, 17, bodyColor(seed + bay * bay + bay / 3));
        painter.restore();
    }
    const Mover rightward = carOnLane(0);
    const qreal x = rightward.center.x();
    const QPolygonF beam {{x + 8, 51}, {x + 34, 47}, {x + 34, 58}, {x + 8, 54}};
    painter.setBrush(QColor(255, 246, 210, 46));
    painter.drawPolygon(beam);
    paintCarFromAbove(painter, rightward.center, rightward.size, bodyColor(seed + 2));
    painter.save();
    const Mover leftward = carOnLane(1);
    painter.translate(leftward.center);
    painter.rotate(180);
    paintCarFromAbove(painter, {0, 0}, leftward.size, bodyColor(seed + 4));
    painter.restore();
    if (infrared)
        painter.fillRect(QRectF(0, 0, 160, 90), QColor(10, 22, 30, 130));
}

void CameraPicture::paintTestCard(QPainter& painter) const
{
    painter.fillRect(QRectF(0, 0, 160, 90), QColor(58, 64, 70));
    painter.setPen(QPen(QColor(255, 255, 255, 60), 0.4));
    for (int line = 1; line < 16; ++line)
        painter.drawLine(QPointF(line * 10, 0), QPointF(line * 10, 90));
    for (int line = 0; line < 9; ++line)
        painter.drawLine(QPointF(0, line * 10 + 5), QPointF(160, line * 10 + 5));
    const QRectF card(40, 5, 80, 80);
    QPainterPath circle;
    circle.addEllipse(card);
    painter.setPen(Qt::NoPen);
    painter.save();
    painter.setClipPath(circle, Qt::IntersectClip);
    static constexpr std::array<QColor, 7> bars {QColor(190, 190, 184), QColor(184, 176, 62), QColor(62, 168, 172),
        QColor(66, 160, 84), QColor(160, 76, 152), QColor(172, 66, 62), QColor(58, 74, 156)};
    for (std::size_t bar = 0; bar < bars.size(); ++bar)
        painter.fillRect(QRectF(40 + static_cast<qreal>(bar) * 80 / 7, 5, 80.0 / 7 + 0.2, 40), bars.at(bar));
    for (int step = 0; step < 8; ++step)
        painter.fillRect(QRectF(40 + step * 10, 45, 10.2, 15), QColor::fromHsv(0, 0, 20 + step * 30));
    QLinearGradient sweep(40, 0, 120, 0);
    sweep.setColorAt(0, QColor(20, 24, 28));
    sweep.setColorAt(1, QColor(220, 224, 226));
    painter.fillRect(QRectF(40, 60, 80, 25), sweep);
    painter.fillRect(QRectF(40 + 80 * phase(4), 60, 1.6, 25), QColor(255, 255, 255));
    painter.restore();
    painter.setPen(QPen(QColor(235, 238, 240), 0.9));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(card);
    const qreal angle = 2 * Pi * phase(8);
    painter.setPen(QPen(QColor(255, 255, 255), 1.4, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(80, 45), QPointF(80 + 37 * std::sin(angle), 45 - 37 * std::cos(angle)));
    painter.setPen(Qt::NoPen);
    for (int square = 0; square < 18; ++square) {
        const QColor color =
            (square + static_cast<int>(seconds * 2)) % 2 == 0 ? QColor(225, 228, 230) : QColor(28, 32, 36);
        const int row = square / 2;
        painter.fillRect(QRectF(square % 2 == 0 ? 0 : 154, row * 10.0, 6, 10), color);
    }
}
