#pragma once

#include <QStyledItemDelegate>

/// Draws an entry of the ActivityModel: the command with its time, the arguments below it, wrapped.
class ActivityDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};
