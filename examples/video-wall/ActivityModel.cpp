#include "ActivityModel.h"

#include <QDateTime>

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
    case TextRole:
        return entry.text;
    case Qt::DisplayRole:
        return QString(entry.command + QLatin1Char(' ') + entry.text).trimmed();
    default:
        return {};
    }
}

void ActivityModel::addCall(const QString& command, const QString& arguments)
{
    add({QDateTime::currentDateTimeUtc().time(), command, arguments});
}

void ActivityModel::addNote(const QString& text)
{
    add({QDateTime::currentDateTimeUtc().time(), {}, text});
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
