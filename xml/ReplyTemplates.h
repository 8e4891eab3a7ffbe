#pragma once

#include <QLatin1String>
#include <QString>
#include <QStringView>

// The texts of which replies are made. Every reply is one element, without XML declaration and without white space
// between its elements; its root binds the prefix p to the protocol's namespace.

/// Characters that hold most acknowledgements with what clients put into them; for reserving only.
constexpr qsizetype UsualReplyLength = 256;

/// The beginning of a reply's start tag, up to the namespace: `<p:name xmlns:p="..."`.
QString replyStart(QLatin1String name);

/// A whole reply without content: `<p:name xmlns:p="..." />`.
QString replyElement(QLatin1String name);

/// Appends an element without attributes. In \a text &, < and > become entities, and the carriage return a reference,
/// so that a text with an empty line in it does not end the message. Nothing else is changed.
void appendElement(QString& reply, QStringView name, QStringView text);

/// The short acceptance of a command; \a commandName may be anything that a client sent.
QString commandAcceptedReply(const QString& commandName);

/// The rejection of a command; \a commandName may be anything that a client sent.
QString commandRejectedReply(const QString& commandName, const QString& reason);
