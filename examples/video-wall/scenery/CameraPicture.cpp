#include "CameraPicture.h"

#include <QColor>
#include <QHash>
#include <QLinearGradient>
#include <QPainter>
#include <QPolygonF>
#include <QRadialGradient>

#include <array>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

/// The scenes are drawn in these units.
constexpr QRectF Whole {0, 0, 160, 90};
constexpr qreal RoadHorizon = 34;
constexpr qreal SeaHorizon = 40;
constexpr int Movers = 3;
constexpr qint64 MillisecondsPerDay = 24LL * 60 * 60 * 1000;
constexpr qreal FullTurn = 2 * M_PI;

quint32 seedOf(const CameraSource& source)
{
    quint32 seed = 0;
    for (const QChar character : source.recorder)
        seed = seed * 33 + character.unicode();
    // Names of recorders tend to be alike; spread them.
    seed = (seed ^ (seed >> 15)) * 0x2c1b3c6dU;
    return (seed ^ (seed >> 12)) + static_cast<quint32>(source.camera);
}

QColor bodyColor(quint32 number)
{
    static constexpr std::array<QRgb, 6> colors {0xab423a, 0x3e628c, 0xced2d4, 0x464c52, 0xc49e54, 0x4e7864};
    return colors.at(number % colors.size());
}

void fill(QPainter& painter, const QRectF& rect, QRgb top, QRgb bottom)
{
    QLinearGradient gradient(rect.topLeft(), rect.bottomLeft());
    gradient.setColorAt(0, top);
    gradient.setColorAt(1, bottom);
    painter.fillRect(rect, gradient);
}

void drawPolygon(QPainter& painter, const QBrush& brush, const QPolygonF& polygon)
{
    painter.setBrush(brush);
    painter.drawPolygon(polygon);
}

void drawRounded(QPainter& painter, const QBrush& brush, const QRectF& rect, qreal radius)
{
    painter.setBrush(brush);
    painter.drawRoundedRect(rect, radius, radius);
}

void drawShadow(QPainter& painter, const QPointF& center, qreal width, qreal height)
{
    painter.setBrush(QColor(0, 0, 0, 80));
    painter.drawEllipse(center, width, height);
}

void drawGlow(QPainter& painter, const QPointF& center, qreal radius, const QColor& color)
{
    QRadialGradient gradient(center, radius);
    gradient.setColorAt(0, color);
    gradient.setColorAt(1, QColor(color.red(), color.green(), color.blue(), 0));
    painter.setBrush(gradient);
    painter.drawEllipse(center, radius, radius);
}

/// Points to the right, or to where \a angle turns it.
void drawCarFromAbove(QPainter& painter, const QPointF& center, qreal angle, const QColor& color)
{
    painter.save();
    painter.translate(center);
    painter.rotate(angle);
    drawRounded(painter, QColor(0, 0, 0, 70), QRectF(-8, -3.4, 17, 8.6), 2.4);
    drawRounded(painter, color, QRectF(-8.5, -4.3, 17, 8.6), 2.4);
    drawRounded(painter, QColor(18, 24, 30, 200), QRectF(-4.4, -3.4, 9.6, 6.8), 1);
    painter.fillRect(QRectF(-2.4, -3.2, 5, 6.4), color.lighter(112));
    painter.restore();
}

void drawCarFromFront(QPainter& painter, const QPointF& foot, qreal width, const QColor& color)
{
    painter.save();
    painter.translate(foot);
    painter.scale(width, width);
    drawShadow(painter, {0, 0}, 0.62, 0.12);
    drawRounded(painter, color.darker(125), QRectF(-0.36, -0.75, 0.72, 0.4), 0.12);
    drawRounded(painter, QColor(30, 40, 50), QRectF(-0.3, -0.69, 0.6, 0.24), 0.06);
    drawRounded(painter, color, QRectF(-0.5, -0.45, 1, 0.4), 0.09);
    for (const qreal side : {-0.34, 0.34}) {
        drawGlow(painter, {side, -0.25}, 0.34, QColor(255, 240, 200, 150));
        drawRounded(painter, QColor(255, 248, 225), QRectF(side - 0.07, -0.3, 0.14, 0.1), 0.05);
    }
    painter.restore();
}

void drawPerson(QPainter& painter, const QPointF& foot, qreal height, qreal step, const QColor& color)
{
    painter.save();
    painter.translate(foot);
    painter.scale(height, height);
    drawShadow(painter, {0, 0}, 0.2, 0.05);
    painter.setPen(QPen(color.darker(150), 0.09, Qt::SolidLine, Qt::RoundCap));
    for (const qreal side : {-0.11, 0.11})
        painter.drawLine(QPointF(0, -0.45), QPointF(side * std::sin(step * FullTurn), 0));
    painter.setPen(Qt::NoPen);
    drawRounded(painter, color, QRectF(-0.12, -0.82, 0.24, 0.42), 0.1);
    drawRounded(painter, QColor(214, 176, 150), QRectF(-0.085, -1, 0.17, 0.19), 0.09);
    painter.restore();
}

} // namespace

CameraPicture::CameraPicture(const CameraSource& source, qint64 time)
    : seed(seedOf(source))
    , scene(sceneOf(source))
    , isDark((seed / 9) % 2 == 1)
    , seconds(static_cast<qreal>(time % MillisecondsPerDay) / 1000.0)
{
}

/// Every other camera looks at what the recorder is named after, the rest at this and that.
CameraPicture::Scene CameraPicture::sceneOf(const CameraSource& source)
{
    using enum Scene;
    static const QHash<QString, Scene> homes {
        {u"North gate"_s, Road}, {u"Car park"_s, CarPark}, {u"Harbour basin"_s, Harbour}, {u"Main hall"_s, Hall}};
    static constexpr std::array others {Road, Harbour, Hall, CarPark, Road, Harbour, Road, CarPark, Hall};
    const Scene other = others.at(seedOf(source) % others.size());
    return source.camera % 2 != 0 ? homes.value(source.recorder, other) : other;
}

qreal CameraPicture::phase(qreal period, qreal offset) const
{
    const qreal turns = seconds / period + offset + static_cast<qreal>(seed % 97) / 97;
    return turns - std::floor(turns);
}

void CameraPicture::paint(QPainter& painter, const QRectF& target, const QRectF& cutOut) const
{
    const QRectF part(cutOut.x() * Whole.width(), cutOut.y() * Whole.height(), cutOut.width() * Whole.width(),
        cutOut.height() * Whole.height());
    const qreal scale = std::min(target.width() / part.width(), target.height() / part.height());
    painter.save();
    painter.setClipRect(target, Qt::IntersectClip);
    painter.fillRect(target, Qt::black);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(target.center());
    painter.scale(scale, scale);
    painter.translate(-part.center());
    painter.setPen(Qt::NoPen);
    switch (scene) {
    case Scene::Road:
        paintRoad(painter);
        break;
    case Scene::Harbour:
        paintHarbour(painter);
        break;
    case Scene::Hall:
        paintHall(painter);
        break;
    case Scene::CarPark:
        paintCarPark(painter);
        break;
    }
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

CameraPicture::Mover CameraPicture::mover(int index) const
{
    switch (scene) {
    case Scene::Road: {
        const qreal way = 0.1 + phase(7, index / 3.0) * 1.1;
        return {{81 + (index != 1 ? -30 : 28) * way * way, RoadHorizon + 56 * way * way}, 2 + 20 * way * way};
    }
    case Scene::Harbour:
        return {{-20 + 230 * phase(30), 75 + 0.7 * std::sin(FullTurn * phase(3))}, 23};
    case Scene::Hall: {
        const qreal way = 0.5 - 0.5 * std::cos(FullTurn * phase(22, index * 0.37));
        return {{80 + (index - 1) * (9 + 24 * way), 54 + 33 * way * way}, 12 + 30 * way * way};
    }
    case Scene::CarPark:
        break;
    }
    if (index == 0)
        return {{-20 + 200 * phase(12), 52.5}, 18};
    return {{180 - 200 * phase(17, 0.4), 38}, 18};
}

void CameraPicture::paintRoad(QPainter& painter) const
{
    const auto roadY = [](qreal way) { return RoadHorizon + 56 * way * way; };
    fill(painter, {0, 0, 160, RoadHorizon}, isDark ? 0x0c1222 : 0x6c849e, isDark ? 0x2c3248 : 0xcec8be);
    for (quint32 building = 0; building < 13; ++building) {
        const qreal height = 6 + (seed * 7 + building * building * 13) % 17;
        const QRectF block(building * 13 - 4.0, RoadHorizon - height, 11.5, height);
        painter.fillRect(block, isDark ? QColor(0x181d2c) : QColor(0x707a86));
        const int litWindows = isDark ? static_cast<int>((height - 4) / 3.4) + 1 : 0;
        for (int window = 0; window < litWindows; ++window) {
            const qreal y = block.top() + 2 + window * 3.4;
            painter.fillRect(QRectF(block.x() + 2 + std::fmod(y * 7, 6), y, 1.6, 1.4), QColor(240, 205, 130, 150));
        }
    }
    fill(painter, {0, RoadHorizon, 160, 56}, isDark ? 0x1a2220 : 0x707c66, isDark ? 0x0e1413 : 0x4c5c46);
    drawPolygon(
        painter, QColor(isDark ? 0x24272e : 0x585c62), {{{74, RoadHorizon}, {88, RoadHorizon}, {158, 90}, {2, 90}}});
    for (int dash = 0; dash < 9; ++dash) {
        const qreal near = std::min(1.0, (dash + phase(1.6)) / 9);
        const qreal far = std::max(0.0, near - 0.045);
        drawPolygon(painter, QColor(225, 225, 215, isDark ? 120 : 190),
            {{{81 - near * 1.1, roadY(near)}, {81 + near * 1.1, roadY(near)}, {81 + far * 1.1, roadY(far)},
                {81 - far * 1.1, roadY(far)}}});
    }
    for (const qreal way : {0.88, 0.59, 0.29}) {
        const QPointF head(84 + 66 * way * way, roadY(way) - 2 - 44 * way);
        painter.fillRect(QRectF(head.x(), head.y(), 1.1 * way, 44 * way), QColor(0x34393f));
        painter.fillRect(QRectF(head.x() - 8 * way, head.y(), 8 * way, way), QColor(0x34393f));
        if (isDark)
            drawGlow(painter, head - QPointF(8 * way, 0), 13 * way, QColor(255, 214, 140, 120));
    }
    for (int car = 0; car < Movers; ++car)
        drawCarFromFront(painter, mover(car).foot, mover(car).size, bodyColor(seed + static_cast<quint32>(car)));
}

void CameraPicture::paintHarbour(QPainter& painter) const
{
    fill(painter, {0, 0, 160, SeaHorizon}, isDark ? 0x36385c : 0x7a96ac, isDark ? 0xde8e68 : 0xd6dcdc);
    if (isDark)
        drawGlow(painter, {112, SeaHorizon - 3}, 22, QColor(255, 214, 150, 200));
    drawPolygon(painter, QColor(isDark ? 0x342e44 : 0x788892),
        {{{0, 40}, {0, 33}, {26, 29}, {50, 35}, {84, 31}, {122, 36}, {160, 30}, {160, 40}}});
    fill(painter, {0, SeaHorizon, 160, 50}, isDark ? 0x7a5c62 : 0x60828e, isDark ? 0x182036 : 0x204252);
    for (int wave = 0; wave < 34; ++wave) {
        const qreal depth = 2 + std::pow(wave / 34.0, 1.6) * 48;
        const qreal x = std::fmod(wave * 53.7 + 190 * phase(60 - wave), 190) - 20;
        painter.fillRect(
            QRectF(x, SeaHorizon + depth, 4 + depth * 0.32, 0.25 + depth * 0.012), QColor(255, 255, 255, 34));
    }

    const qreal trolley = 34 + 24 * (0.5 + 0.5 * std::sin(FullTurn * phase(16)));
    painter.setPen(QPen(QColor(isDark ? 0x22202e : 0x485660), 1.1));
    for (const QLineF& beam : {QLineF(20, 56, 23, 14), QLineF(32, 56, 29, 14), QLineF(6, 14, 64, 14),
             QLineF(26, 6, 62, 14), QLineF(26, 6, 8, 14), QLineF(26, 6, 26, 14), QLineF(trolley, 14, trolley, 30)})
        painter.drawLine(beam);
    painter.setPen(Qt::NoPen);
    painter.fillRect(QRectF(trolley - 4, 30, 8, 4), bodyColor(seed));
    drawPolygon(painter, QColor(isDark ? 0x262430 : 0x707270), {{{0, 53}, {52, 53}, {38, 62}, {0, 64}}});
    for (quint32 box = 0; box < 6; ++box) {
        const bool isOnTop = box >= 3;
        painter.fillRect(QRectF(1 + box % 3 * 6.2, isOnTop ? 44.8 : 49, 5.8, 4), bodyColor(seed + box));
    }

    painter.translate(mover(0).foot - QPointF(20, 7)); // the boat
    drawShadow(painter, {19, 6.5}, 21, 2.5);
    painter.fillRect(QRectF(7, -8, 14, 9), QColor(0xeceeee));
    painter.fillRect(QRectF(10, -12, 8, 5), QColor(0xeceeee));
    painter.fillRect(QRectF(11, -11, 6, 2), QColor(0x283642));
    drawPolygon(painter, bodyColor(seed + 1), {{{0, 0}, {40, -1.5}, {34, 7}, {4, 7}}});
}

void CameraPicture::paintHall(QPainter& painter) const
{
    const QColor wall(isDark ? 0x969288 : 0x8c98a2);
    painter.fillRect(Whole, wall); // whose far end remains
    drawPolygon(painter, wall.lighter(128), {{{0, 0}, {160, 0}, {98, 28}, {62, 28}}});
    drawPolygon(painter, wall.darker(122), {{{0, 0}, {62, 28}, {62, 52}, {0, 90}}});
    drawPolygon(painter, wall.darker(112), {{{160, 0}, {98, 28}, {98, 52}, {160, 90}}});
    drawPolygon(painter, QColor(0x5a5650), {{{62, 52}, {98, 52}, {160, 90}, {0, 90}}});
    painter.setPen(QPen(QColor(255, 255, 255, 26), 0.5));
    for (int line = -6; line <= 6; ++line)
        painter.drawLine(QPointF(80 + line * 3, 52), QPointF(80 + line * 13.4, 90));
    for (const qreal y : {54.5, 58.5, 64.5, 73.5, 86.0})
        painter.drawLine(QPointF(80 - (y - 30) * 1.6, y), QPointF(80 + (y - 30) * 1.6, y));
    painter.setPen(Qt::NoPen);
    for (const qreal way : {0.12, 0.4, 0.75}) { // lamps
        const qreal y = 26 - 25 * way;
        drawPolygon(painter, QColor(0xfffcee),
            {{{76 - 9 * way, y}, {84 + 9 * way, y}, {84 + 12 * way, y - 5 * way}, {76 - 12 * way, y - 5 * way}}});
    }
    for (const qreal side : {-1.0, 1.0}) { // doors
        drawPolygon(painter, QColor(0x525e68),
            {{{80 + side * 62, 25}, {80 + side * 44, 30}, {80 + side * 44, 67}, {80 + side * 62, 79}}});
        painter.fillRect(QRectF(76.2 + side * 4.2, 34, 7.6, 18), QColor(0x60707a));
    }
    painter.fillRect(QRectF(77, 30, 6, 2.6), QColor(0x46be82));
    for (int person = 0; person < Movers; ++person)
        drawPerson(painter, mover(person).foot, mover(person).size, phase(1.1, person * 0.3),
            bodyColor(seed + static_cast<quint32>(person)));
}

void CameraPicture::paintCarPark(QPainter& painter) const
{
    fill(painter, Whole, 0x52585c, 0x3e4348);
    painter.fillRect(QRectF(0, 0, 160, 6), QColor(0x52684c));
    painter.fillRect(QRectF(0, 84, 160, 6), QColor(0x52684c));
    for (int bay = 0; bay <= 11; ++bay) {
        const qreal x = 6 + bay * 13.5;
        painter.fillRect(QRectF(x, 8, 0.6, 22), QColor(226, 228, 222, 150));
        painter.fillRect(QRectF(x, 60, 0.6, 22), QColor(226, 228, 222, 150));
        painter.fillRect(QRectF(x, 44.7, 6, 0.6), QColor(226, 228, 222, 110));
    }
    for (quint32 bay = 0; bay < 22; ++bay) {
        if ((seed * 5 + bay * bay * 3 + bay) % 7 < 2)
            continue; // nobody parks here
        const bool isUpper = bay < 11;
        drawCarFromAbove(painter, {12.75 + (bay % 11) * 13.5, isUpper ? 19.0 : 71.0}, isUpper ? -90 : 90,
            bodyColor(seed + bay * bay + bay / 3));
    }
    const QPointF lamps = mover(0).foot + QPointF(8, 0);
    drawPolygon(painter, QColor(255, 246, 210, 46),
        {{lamps - QPointF(0, 1.5), lamps + QPointF(26, -5.5), lamps + QPointF(26, 5.5), lamps + QPointF(0, 1.5)}});
    drawCarFromAbove(painter, mover(0).foot, 0, bodyColor(seed + 2));
    drawCarFromAbove(painter, mover(1).foot, 180, bodyColor(seed + 4));
    if (isDark)
        painter.fillRect(Whole, QColor(10, 22, 30, 130));
}
