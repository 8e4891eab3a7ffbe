#pragma once

#include "Protocol.h"

#include <QLatin1String>
#include <QString>
#include <QStringView>

// The texts that clients receive. Every reply is one element, without an XML declaration and without white space
// between its elements; its root binds the prefix p to the protocol's namespace. Texts in an acknowledgement may come
// from a client, so they are escaped.
namespace OrvaneInterface {

/// The short acceptance; the long one is XmlCommandReader::acceptedReply().
QString acceptance(const QString& commandName);
QString rejection(const QString& commandName, const QString& reason);
/// Sent to each waiting client when a refresh of the recorder list has finished.
QString refreshFinishedNotice();

// Parts of replies.

/// The start tag of the root: `<p:name xmlns:p="...">`.
QString replyStart(QLatin1String name, const QString& namespaceUri = XmlNamespaceUri);
void appendReplyEnd(QString& reply, QLatin1String name);
/// Appends an element without attributes, its text escaped.
void appendElement(QString& reply, QStringView name, QStringView text);

} // namespace OrvaneInterface
