#include "OrvaneConnection.h"

#include "ReplyTemplates.h"

namespace OrvaneInterface {

void OrvaneConnection::sendCommandAccepted(const QString& commandName)
{
    sendMessage(commandAcceptedReply(commandName));
}

void OrvaneConnection::sendCommandRejected(const QString& commandName, const QString& reason)
{
    sendMessage(commandRejectedReply(commandName, reason));
}

} // namespace OrvaneInterface
