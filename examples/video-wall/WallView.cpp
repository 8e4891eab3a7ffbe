#include "WallView.h"

#include "TilePainter.h"
#include "WallColors.h"
#include "WallState.h"

#include <QDateTime>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <chrono>

namespace {

/// Smooth enough for simulated video, and cheap: sixteen drawn pictures cost more than sixteen videos.
constexpr std::chrono::milliseconds FrameInterval {66};

} // namespace

WallView::WallView(const WallState& state, QWidget* parent)
    : QWidget(parent)
    , state(state)
{
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setSizePolicy(policy);
    auto* frames = new QTimer(this);
    connect(frames, &QTimer::timeout, this, qOverload<>(&QWidget::update));
    frames->start(FrameInterval);
    connect(&state, &WallState::changed, this, qOverload<>(&QWidget::update));
}

void WallView::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    const QSizeF size = QSizeF(16, 9).scaled(rect().size(), Qt::KeepAspectRatio);
    const QRectF area(QPointF((width() - size.width()) / 2, 0), size);
    const qreal gap = std::clamp(size.height() * 0.008, 3.0, 10.0);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (int splitId = 0; splitId < state.layout().splitCount(); ++splitId) {
        // Whole pixels, so that neighbours do not shimmer.
        const QRectF tile = state.layout().splitRect(splitId, area, gap).toAlignedRect();
        painter.setClipRect(tile);
        paintTile(painter, tile, splitId, state.split(splitId), now);
    }
}

#include "moc_WallView.cpp"
