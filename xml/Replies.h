#pragma once

#include "Protocol.h"

#include <QLatin1String>
#include <QString>
#include <QStringView>

// The texts that clients receive. Every reply is one element, without XML declaration and without white space between
// its elements; its root binds the prefix p to the protocol's namespace. The texts in an acknowledgement may be
// anything that a client has sent, and are escaped.
namespace OrvaneInterface {

/// The short acceptance; the long one is XmlCommandReader::acceptedReply().
QString acceptance(const QString& commandName);
QString rejection(const QString& commandName, const QString& reason);
/// What a client that waits for it receives when a refresh of the recorder list has finished.
QString refreshFinishedNotice();

// What replies are made of.

/// The start tag of the root: `<p:name xmlns:p="...">`.
QString replyStart(QLatin1String name, const QString& namespaceUri = XmlNamespaceUri);
void appendReplyEnd(QString& reply, QLatin1String name);
/// Appends an element without attributes, its text escaped.
void appendElement(QString& reply, QStringView name, QStringView text);

} // namespace OrvaneInterface
