#include "CameraPicture.h"

#include <QByteArray>
#include <QColor>
#include <QHash>
#include <QLineF>
#include <QLinearGradient>
#include <QList>
#include <QPainter>
#include <QPolygonF>
#include <QRadialGradient>

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>

using namespace Qt::StringLiterals;

namespace {

/// The scenes are drawn in these units.
constexpr QRectF Whole {0, 0, 160, 90};
constexpr qreal RoadHorizon = 34;
constexpr qreal SeaHorizon = 40;
constexpr int Movers = 3;
constexpr qint64 MillisecondsPerDay = 24LL * 60 * 60 * 1000;
constexpr qreal FullTurn = 2 * M_PI;
constexpr QColor Shadow {0, 0, 0, 80};

/// A part of a thing, in units of the thing's size.
struct Part {
    QRectF rect;
    QColor color;
    qreal radius = 0;
};

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

void drawPolygon(QPainter& painter, const QColor& color, const QPolygonF& polygon)
{
    painter.setBrush(color);
    painter.drawPolygon(polygon);
}

void drawGlow(QPainter& painter, const QPointF& center, qreal radius, QColor color)
{
    QRadialGradient gradient(center, radius);
    gradient.setColorAt(0, color);
    color.setAlpha(0);
    gradient.setColorAt(1, color);
    painter.setBrush(gradient);
    painter.drawEllipse(center, radius, radius);
}

void drawThing(QPainter& painter, const QPointF& foot, qreal size, std::initializer_list<Part> parts)
{
    painter.save();
    painter.translate(foot);
    painter.scale(size, size);
    for (const Part& part : parts) {
        painter.setBrush(part.color);
        painter.drawRoundedRect(part.rect, part.radius, part.radius);
    }
    painter.restore();
}

void drawCar(QPainter& painter, const QPointF& foot, qreal size, const QColor& color, bool isLit)
{
    const QColor lamp(255, 248, 225);
    drawThing(painter, foot, size,
        {{{-0.62, -0.12, 1.24, 0.24}, Shadow, 0.12}, {{-0.36, -0.75, 0.72, 0.4}, color.darker(125), 0.12},
            {{-0.3, -0.69, 0.6, 0.24}, QColor(30, 40, 50), 0.06}, {{-0.5, -0.45, 1, 0.4}, color, 0.09},
            {{-0.41, -0.3, 0.14, 0.1}, lamp, 0.05}, {{0.27, -0.3, 0.14, 0.1}, lamp, 0.05}});
    for (const qreal side : {-0.34, 0.34}) {
        if (isLit)
            drawGlow(painter, foot + QPointF(side, -0.25) * size, 0.34 * size, QColor(255, 240, 200, 150));
    }
}

/// \a stride from -1 to 1.
void drawPerson(QPainter& painter, const QPointF& foot, qreal size, qreal stride, const QColor& color)
{
    const QColor trousers = color.darker(150);
    drawThing(painter, foot, size,
        {{{-0.2, -0.05, 0.4, 0.1}, Shadow, 0.05}, {{-0.05 - 0.06 * stride, -0.5, 0.1, 0.5}, trousers, 0.04},
            {{-0.05 + 0.06 * stride, -0.5, 0.1, 0.5}, trousers, 0.04}, {{-0.12, -0.82, 0.24, 0.42}, color, 0.1},
            {{-0.085, -1, 0.17, 0.19}, QColor(214, 176, 150), 0.09}});
}

} // namespace

CameraPicture::CameraPicture(const CameraSource& source, qint64 time)
    // Names of recorders tend to be alike: the checksum spreads them.
    : seed(qChecksum(source.recorder.toUtf8()) + static_cast<quint32>(source.camera))
    , isDark((seed / 5) % 2 == 1)
    , seconds(static_cast<qreal>(time % MillisecondsPerDay) / 1000.0)
{
    // Every other camera looks at what the recorder is named after, the rest at this and that.
    using enum Scene;
    static const QHash<QString, Scene> homes {
        {u"North gate"_s, Road}, {u"Car park"_s, CarPark}, {u"Harbour basin"_s, Harbour}, {u"Main hall"_s, Hall}};
    static constexpr std::array others {Road, Harbour, Hall, CarPark};
    scene = others.at(seed % others.size());
    if (source.camera % 2 != 0)
        scene = homes.value(source.recorder, scene);
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
    if (scene == Scene::Harbour)
        paintHarbour(painter);
    else if (scene == Scene::Hall)
        paintHall(painter);
    else
        paintRoad(painter);
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

/// On the road and in the hall what is far away, at 0, is small and moves little; 1 is at the lower edge.
CameraPicture::Mover CameraPicture::mover(int index) const
{
    if (scene == Scene::Harbour)
        return {{-20 + 230 * phase(30), 75 + 0.7 * std::sin(FullTurn * phase(3))}, 23};
    if (scene == Scene::Hall) {
        const qreal way = 0.5 - 0.5 * std::cos(FullTurn * phase(22, index * 0.37));
        return {{80 + (index - 1) * (9 + 24 * way), 54 + 33 * way * way}, 12 + 30 * way * way};
    }
    const qreal way = 0.1 + phase(7, index / 3.0) * 1.1;
    return {{81 + (index != 1 ? -30 : 28) * way * way, RoadHorizon + 56 * way * way}, 2 + 20 * way * way};
}

void CameraPicture::paintRoad(QPainter& painter) const
{
    const auto roadY = [](qreal way) { return RoadHorizon + 56 * way * way; };
    fill(painter, {0, 0, 160, RoadHorizon}, isDark ? 0x0c1222 : 0x6c849e, isDark ? 0x2c3248 : 0xcec8be);
    for (quint32 building = 0; building < 13; ++building) {
        const qreal height = 6 + (seed * 7 + building * building * 13) % 17;
        const QRectF block(building * 13 - 4.0, RoadHorizon - height, 11.5, height);
        painter.fillRect(block, isDark ? QColor(0x181d2c) : QColor(0x707a86));
        for (int window = 0; isDark && window * 3.4 < height - 3; ++window) {
            const qreal y = block.top() + 2 + window * 3.4;
            painter.fillRect(QRectF(block.x() + 2 + std::fmod(y * 7, 6), y, 1.6, 1.4), QColor(240, 205, 130, 150));
        }
    }
    fill(painter, {0, RoadHorizon, 160, 56}, isDark ? 0x1a2220 : 0x707c66, isDark ? 0x0e1413 : 0x4c5c46);
    const qreal lowerLeft = scene == Scene::CarPark ? -140 : 2; // as wide as the parked cars need, or a road
    drawPolygon(painter, isDark ? 0x24272e : 0x585c62,
        {{{74, RoadHorizon}, {88, RoadHorizon}, {160 - lowerLeft, 90}, {lowerLeft, 90}}});
    for (int dash = 0; dash < 9; ++dash) {
        const qreal near = std::min(1.0, (dash + phase(1.6)) / 9);
        const qreal far = std::max(0.0, near - 0.045);
        painter.fillRect(QRectF(QPointF(81 - near, roadY(far)), QPointF(81 + near, roadY(near))),
            QColor(225, 225, 215, isDark ? 120 : 190));
    }
    for (const qreal way : {0.29, 0.42, 0.59, 0.88}) {
        if (scene == Scene::CarPark) {
            for (const qreal place : {-116.0, -84.0, 84.0, 116.0})
                drawCar(painter, {81 + place * way * way, roadY(way)}, 2 + 20 * way * way,
                    bodyColor(seed + static_cast<quint32>(way * 100 + place + 200)), false);
            continue;
        }
        const QPointF head(84 + 66 * way * way, roadY(way) - 2 - 44 * way);
        drawThing(painter, head, way, {{{0, 0, 1.1, 44}, QColor(0x34393f)}, {{-8, 0, 8, 1}, QColor(0x34393f)}});
        if (isDark)
            drawGlow(painter, head - QPointF(8 * way, 0), 13 * way, QColor(255, 214, 140, 120));
    }
    for (int car = 0; car < Movers; ++car)
        drawCar(painter, mover(car).foot, mover(car).size, bodyColor(seed + static_cast<quint32>(car)), true);
}

void CameraPicture::paintHarbour(QPainter& painter) const
{
    fill(painter, {0, 0, 160, SeaHorizon}, isDark ? 0x36385c : 0x7a96ac, isDark ? 0xde8e68 : 0xd6dcdc);
    if (isDark)
        drawGlow(painter, {112, SeaHorizon - 3}, 22, QColor(255, 214, 150, 200));
    drawPolygon(painter, isDark ? 0x342e44 : 0x788892,
        {{{0, 40}, {0, 33}, {26, 29}, {50, 35}, {84, 31}, {122, 36}, {160, 30}, {160, 40}}});
    fill(painter, {0, SeaHorizon, 160, 50}, isDark ? 0x7a5c62 : 0x60828e, isDark ? 0x182036 : 0x204252);
    for (int wave = 0; wave < 34; ++wave) {
        const qreal depth = 2 + std::pow(wave / 34.0, 1.6) * 48;
        const qreal x = std::fmod(wave * 53.7 + 190 * phase(60 - wave), 190) - 20;
        painter.fillRect(
            QRectF(x, SeaHorizon + depth, 4 + depth * 0.32, 0.25 + depth * 0.012), QColor(255, 255, 255, 34));
    }

    const qreal trolley = 46 + 12 * std::sin(FullTurn * phase(16));
    painter.setPen(QPen(QColor(isDark ? 0x22202e : 0x485660), 1.1));
    painter.drawLines(QList<QLineF> {{20, 56, 23, 14}, {32, 56, 29, 14}, {6, 14, 64, 14}, {26, 6, 62, 14},
        {26, 6, 8, 14}, {26, 6, 26, 14}, {trolley, 14, trolley, 30}});
    painter.setPen(Qt::NoPen);
    painter.fillRect(QRectF(trolley - 4, 30, 8, 4), bodyColor(seed));
    drawPolygon(painter, isDark ? 0x262430 : 0x707270, {{{0, 53}, {52, 53}, {38, 62}, {0, 64}}});
    for (quint32 box = 0; box < 6; ++box)
        painter.fillRect(QRectF(1 + box % 3 * 6.2, box < 3 ? 49 : 44.8, 5.8, 4), bodyColor(seed + box));

    const QColor white(0xeceeee);
    const QPointF bow = mover(0).foot - QPointF(20, 7);
    drawThing(painter, bow, 1,
        {{{-2, 4, 42, 5}, Shadow, 2.5}, {{7, -8, 14, 9}, white}, {{10, -12, 8, 5}, white},
            {{11, -11, 6, 2}, QColor(0x283642)}});
    drawPolygon(
        painter, bodyColor(seed + 1), {{bow, bow + QPointF(40, -1.5), bow + QPointF(34, 7), bow + QPointF(4, 7)}});
}

void CameraPicture::paintHall(QPainter& painter) const
{
    const QColor wall(isDark ? 0x969288 : 0x8c98a2);
    painter.fillRect(Whole, wall); // whose far end remains
    drawPolygon(painter, wall.lighter(128), {{{0, 0}, {160, 0}, {98, 28}, {62, 28}}});
    drawPolygon(painter, wall.darker(122), {{{0, 0}, {62, 28}, {62, 52}, {0, 90}}});
    drawPolygon(painter, wall.darker(112), {{{160, 0}, {98, 28}, {98, 52}, {160, 90}}});
    drawPolygon(painter, 0x5a5650, {{{62, 52}, {98, 52}, {160, 90}, {0, 90}}});
    painter.setPen(QPen(QColor(255, 255, 255, 26), 0.5));
    for (int line = -6; line <= 6; ++line)
        painter.drawLine(QPointF(80 + line * 3, 52), QPointF(80 + line * 13.4, 90));
    for (const qreal y : {54.5, 58.5, 64.5, 73.5, 86.0})
        painter.drawLine(QPointF(80 - (y - 30) * 1.6, y), QPointF(80 + (y - 30) * 1.6, y));
    painter.setPen(Qt::NoPen);
    for (const qreal way : {0.12, 0.4, 0.75}) // lamps
        drawPolygon(painter, 0xfffcee,
            {{{76 - 9 * way, 26 - 25 * way}, {84 + 9 * way, 26 - 25 * way}, {84 + 12 * way, 26 - 30 * way},
                {76 - 12 * way, 26 - 30 * way}}});
    for (const qreal side : {-1.0, 1.0}) { // doors
        drawPolygon(painter, 0x525e68,
            {{{80 + side * 62, 25}, {80 + side * 44, 30}, {80 + side * 44, 67}, {80 + side * 62, 79}}});
        painter.fillRect(QRectF(76.2 + side * 4.2, 34, 7.6, 18), QColor(0x60707a));
    }
    painter.fillRect(QRectF(77, 30, 6, 2.6), QColor(0x46be82));
    for (int person = 0; person < Movers; ++person)
        drawPerson(painter, mover(person).foot, mover(person).size, std::sin(FullTurn * phase(1.1, person * 0.3)),
            bodyColor(seed + static_cast<quint32>(person)));
}
