#pragma once

#include <QAbstractListModel>
#include <QList>
#include <QString>
#include <QStyledItemDelegate>
#include <QTime>

/// What happened on the wall, oldest first. Only the latest entries are kept.
class ActivityModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { TimeRole = Qt::UserRole, CommandRole, AskerRole, TextRole };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

    /// A host call, its arguments in readable form, and the client that caused it; empty: none.
    void addCall(const QString& command, const QString& arguments, const QString& asker);
    /// A note from the wall itself.
    void addNote(const QString& text);

private:
    struct Entry {
        QTime time;
        QString command; ///< empty: a note
        QString asker; ///< empty: the wall itself
        QString text;
    };

    void add(const Entry& entry);

    QList<Entry> entries;
};

/// Draws an entry of the ActivityModel: the command with its time, who asked, and the arguments, wrapped.
class ActivityDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};
