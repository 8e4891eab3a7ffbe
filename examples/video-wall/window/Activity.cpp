#include "Activity.h"

#include "TextLine.h"
#include "WallColors.h"

#include <QDateTime>
#include <QFontMetrics>
#include <QPainter>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// A wall runs for months; nobody scrolls back further than this.
constexpr qsizetype MostEntries = 400;

} // namespace

int ActivityModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(entries.size());
}

QVariant ActivityModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Entry& entry = entries.at(index.row());
    switch (role) {
    case TimeRole:
        return entry.time.toString(u"HH:mm:ss"_s);
    case CommandRole:
        return entry.command;
    case AskerRole:
        return entry.asker;
    case TextRole:
        return entry.text;
    case Qt::DisplayRole:
        return QString(entry.command + QLatin1Char(' ') + entry.text).trimmed();
    default:
        return {};
    }
}

void ActivityModel::addCall(const QString& command, const QString& arguments, const QString& asker)
{
    add({QDateTime::currentDateTimeUtc().time(), command, asker, arguments});
}

void ActivityModel::addNote(const QString& text)
{
    add({QDateTime::currentDateTimeUtc().time(), {}, {}, text});
}

void ActivityModel::add(const Entry& entry)
{
    if (entries.size() >= MostEntries) {
        beginRemoveRows({}, 0, 0);
        entries.removeFirst();
        endRemoveRows();
    }
    const int row = rowCount();
    beginInsertRows({}, row, row);
    entries.append(entry);
    endInsertRows();
}

namespace {

constexpr int Padding = 7;
constexpr int Wrapped = Qt::AlignLeft | Qt::TextWordWrap;
/// More lines are cut off: a client may send any length.
constexpr int MostTextLines = 5;

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
    const bool hasAsker = !index.data(ActivityModel::AskerRole).toString().isEmpty();
    const int commandLine = isCall ? QFontMetrics(option.font).height() + Padding : 0;
    const int askerLine = hasAsker ? QFontMetrics(smaller(option.font)).height() : 0;
    return {option.rect.width(), commandLine + askerLine + text.height() + Padding};
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
        const QFont small = smaller(option.font);
        const auto lineOf = [&item](int lineHeight) { return QRectF(item.x(), item.y(), item.width(), lineHeight); };
        const QString time = index.data(ActivityModel::TimeRole).toString();
        const QRectF left = paintLineRight(*painter, lineOf(height), time, small, WallColors::MutedText);
        paintLine(*painter, left, command, headingOf(option.font), WallColors::DetailView);
        item.translate(0, height);
        if (const QString asker = index.data(ActivityModel::AskerRole).toString(); !asker.isEmpty()) {
            const int askerHeight = QFontMetrics(small).height();
            paintLine(*painter, lineOf(askerHeight), asker, small, WallColors::MutedText);
            item.translate(0, askerHeight);
        }
    }
    painter->setFont(smaller(option.font));
    painter->setPen(command.isEmpty() ? WallColors::Playback : WallColors::Text.darker(118));
    const QRect room = textRect(item, option.font, text);
    painter->setClipRect(room);
    painter->drawText(room, Wrapped, text);
    painter->restore();
}

#include "moc_Activity.cpp"
