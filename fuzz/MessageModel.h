#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// The definition of a message, in its simplest form: each read is decoded on its own and appended to the rest, and
/// each empty line ends a message.
class MessageModel {
public:
    /// The messages that \a read completes.
    QStringList take(const QByteArray& read)
    {
        rest += QString::fromUtf8(read);
        QStringList messages = rest.split(QStringLiteral("\r\n\r\n"));
        rest = messages.takeLast();
        return messages;
    }

private:
    QString rest;
};
