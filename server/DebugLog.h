#pragma once

#include <QDebug>
#include <QLoggingCategory>
#include <QString>

namespace OrvaneInterface {

/// The category of plain qDebug(). qCDebug() formats nothing while the host has disabled its debug level.
inline const QLoggingCategory& defaultLog()
{
    return *QLoggingCategory::defaultCategory();
}

/// The one line for a client that is disconnected for exceeding \a limit, a member of OrvaneLimits.
inline void logExceededLimit(QLatin1String limit, const QString& peer)
{
    qCDebug(defaultLog).noquote() << "OrvaneConnection exceeded a limit:" << limit << peer;
}

} // namespace OrvaneInterface
