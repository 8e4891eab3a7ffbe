#pragma once

#include <QDebug>
#include <QLoggingCategory>

namespace OrvaneInterface {

/// The category of plain qDebug(). Through qCDebug() nothing is formatted while the host has its debug level off.
inline const QLoggingCategory& defaultLog()
{
    return *QLoggingCategory::defaultCategory();
}

} // namespace OrvaneInterface
