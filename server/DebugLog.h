#pragma once

#include <QDebug>
#include <QLoggingCategory>
#include <QString>

namespace OrvaneInterface {

/// The category of plain qDebug(). Through qCDebug() nothing is formatted while the host has its debug level off.
inline const QLoggingCategory& defaultLog()
{
    return *QLoggingCategory::defaultCategory();
}

/// The one line for a client that is disconnected for what it takes. \a limit is a member of OrvaneLimits.
inline void logExceededLimit(QLatin1String limit, const QString& peer)
{
    qCDebug(defaultLog).noquote() << "OrvaneConnection exceeded a limit:" << limit << peer;
}

} // namespace OrvaneInterface
