#include "ActivityDelegate.h"

#include "ActivityModel.h"
#include "WallColors.h"

#include <QFontMetrics>
#include <QPainter>

#include <algorithm>

namespace {

constexpr int Padding = 7;
constexpr int Wrapped = Qt::AlignLeft | Qt::TextWordWrap;
/// What wraps to more is cut off: a client may send any length.
constexpr int MostTextLines = 5;

QFont smaller(QFont font)
{
    font.setPixelSize(std::max(9, font.pixelSize() - 2));
    return font;
}

QRect textRect(const QRect& item, const QFont& font, const QString& text)
{
    const QFontMetrics metrics(smaller(font));
    const QRect room(item.x(), item.y(), item.width(), metrics.lineSpacing() * MostTextLines);
    const int height = text.isEmpty() ? 0 : metrics.boundingRect(room, Wrapped, text).height();
    return {room.topLeft(), QSize(room.width(), std::min(height, room.height()))};
}

} // namespace

QSize ActivityDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const int width = option.rect.width() - 2 * Padding;
    const QRect text = textRect(QRect(0, 0, width, 0), option.font, index.data(ActivityModel::TextRole).toString());
    const bool isCall = !index.data(ActivityModel::CommandRole).toString().isEmpty();
    const int commandLine = isCall ? QFontMetrics(option.font).height() + Padding : 0;
    return {option.rect.width(), commandLine + text.height() + Padding};
}

void ActivityDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QString command = index.data(ActivityModel::CommandRole).toString();
    const QString text = index.data(ActivityModel::TextRole).toString();
    QRect item = option.rect.adjusted(Padding, command.isEmpty() ? 0 : Padding, -Padding, 0);
    painter->save();
    if (!command.isEmpty()) {
        const int height = QFontMetrics(option.font).height();
        if (index.row() > 0) {
            painter->setPen(WallColors::Line);
            painter->drawLine(option.rect.topLeft(), option.rect.topRight());
        }
        painter->setFont(smaller(option.font));
        painter->setPen(WallColors::MutedText);
        painter->drawText(item, Qt::AlignRight, index.data(ActivityModel::TimeRole).toString());
        QFont bold = option.font;
        bold.setBold(true);
        bold.setPixelSize(std::max(9, bold.pixelSize() - 1));
        painter->setFont(bold);
        painter->setPen(WallColors::DetailView);
        painter->drawText(item, Qt::AlignLeft, command);
        item.translate(0, height);
    }
    painter->setFont(smaller(option.font));
    painter->setPen(command.isEmpty() ? WallColors::Playback : WallColors::Text.darker(118));
    const QRect room = textRect(item, option.font, text);
    painter->setClipRect(room);
    painter->drawText(room, Wrapped, text);
    painter->restore();
}
