#include "RecorderStrip.h"

#include "TextLine.h"
#include "WallColors.h"
#include "WallState.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// The maximum width of a card, in line heights.
constexpr qreal WidestCard = 14;
constexpr qreal Gap = 10;

QString counted(qsizetype count, const QString& thing)
{
    return u"%1 %2%3"_s.arg(count).arg(thing, count == 1 ? QString() : u"s"_s);
}

} // namespace

RecorderStrip::RecorderStrip(const WallState& state, QWidget* parent)
    : QWidget(parent)
    , state(state)
{
    connect(&state, &WallState::changed, this, qOverload<>(&QWidget::update));
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize RecorderStrip::sizeHint() const
{
    const int line = fontMetrics().height();
    return {20 * line, 5 * line};
}

void RecorderStrip::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal line = fontMetrics().height();
    const qreal heading = line * 1.15;
    const auto count = state.recorders().size();
    painter.setFont(smaller(font()));
    painter.setPen(WallColors::MutedText);
    painter.drawText(QRectF(0, 0, width(), heading), Qt::AlignLeft | Qt::AlignTop, counted(count, u"recorder"_s));
    if (state.isRefreshing())
        paintRefresh(painter, QRectF(0, 0, width(), heading));

    const qreal cardWidth =
        std::min((width() - Gap * static_cast<qreal>(count - 1)) / static_cast<qreal>(count), line * WidestCard);
    for (int index = 0; index < count; ++index)
        paintRecorder(painter, QRectF(index * (cardWidth + Gap), heading, cardWidth, height() - heading), index);
}

void RecorderStrip::paintRefresh(QPainter& painter, const QRectF& line) const
{
    const QRectF bar(line.right() - line.width() * 0.35, line.y() + line.height() * 0.28, line.width() * 0.35, 5);
    painter.setPen(WallColors::DetailView);
    painter.drawText(QRectF(line.x(), line.y(), bar.left() - Gap, line.height()), Qt::AlignRight | Qt::AlignTop,
        u"Refreshing the recorders"_s);
    painter.setPen(Qt::NoPen);
    painter.setBrush(WallColors::Line);
    painter.drawRoundedRect(bar, 2.5, 2.5);
    QRectF done = bar;
    done.setWidth(std::max(bar.height(), bar.width() * state.refreshProgress()));
    painter.setBrush(WallColors::DetailView);
    painter.drawRoundedRect(done, 2.5, 2.5);
}

void RecorderStrip::paintRecorder(QPainter& painter, const QRectF& card, int index) const
{
    const Recorder& recorder = state.recorders().at(index);
    painter.setPen(QPen(WallColors::Line, 1));
    painter.setBrush(WallColors::Panel);
    painter.drawRoundedRect(card.adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
    QFont bold = font();
    bold.setBold(true);
    const QFont small = smaller(font());
    const qreal boldHeight = QFontMetricsF(bold).height();
    const qreal smallHeight = QFontMetricsF(small).height();
    QRectF line = card.adjusted(Gap, 0, -Gap, 0);
    line.setTop(card.center().y() - boldHeight / 2 - smallHeight);
    line.setHeight(boldHeight);
    paintLine(painter, line, recorder.name, bold, WallColors::Text);
    line.translate(0, boldHeight);
    line.setHeight(smallHeight);
    const QString facts =
        u"%1 \u00b7 %2"_s.arg(counted(recorder.channels, u"camera"_s), counted(recorder.tracks.size(), u"track"_s));
    paintLine(painter, line, facts, small, WallColors::MutedText.lighter(115));
    QStringList tracks;
    for (const Track& track : recorder.tracks)
        tracks.append(track.name);
    paintLine(painter, line.translated(0, smallHeight), tracks.join(u", "_s), small, WallColors::MutedText);
}

#include "moc_RecorderStrip.cpp"
