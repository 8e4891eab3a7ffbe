#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

/// The key or the certificate, which the library reads as well.
inline QByteArray tlsResource(const QString& name)
{
    QFile file(QStringLiteral(":/Halden/Resources/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
