#include "Replies.h"

#include "XmlCommandReader.h"

#include <QStringBuilder>

// Concatenated with %, which allocates once for all parts, and never with arg(), which would look for markers in client
// text.
namespace OrvaneInterface {

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1String Acceptance("commandAccepted");
constexpr QLatin1String Rejection("commandRejected");

} // namespace

QString replyStart(QLatin1String name, const QString& namespaceUri)
{
    QString reply;
    reply.reserve(400); // enough for most acknowledgements, client text included
    reply += "<p:"_L1 % name % " xmlns:p=\""_L1 % namespaceUri % "\">"_L1;
    return reply;
}

void appendReplyEnd(QString& reply, QLatin1String name)
{
    reply += "</p:"_L1 % name % u'>';
}

void appendElement(QString& reply, QStringView name, QStringView text)
{
    reply += u'<' % name % u'>';
    for (const QChar character : text) {
        if (const QLatin1String entity = entityOf(character); entity.isNull())
            reply += character;
        else
            reply += entity;
    }
    reply += "</"_L1 % name % u'>';
}

QString acceptance(const QString& commandName)
{
    QString reply = replyStart(Acceptance);
    appendElement(reply, u"commandname", commandName);
    appendReplyEnd(reply, Acceptance);
    return reply;
}

QString rejection(const QString& commandName, const QString& reason)
{
    QString reply = replyStart(Rejection);
    appendElement(reply, u"commandname", commandName);
    appendElement(reply, u"reason", reason);
    appendReplyEnd(reply, Rejection);
    return reply;
}

QString refreshFinishedNotice()
{
    return "<p:updateRecorderContentsFinished xmlns:p=\""_L1 % XmlNamespaceUri % "\" />"_L1;
}

} // namespace OrvaneInterface

// Not with the rest of the class: this file builds all acknowledgements.
QString XmlCommandReader::acceptedReply(
    const QString& remark, const QStringList& echoNames, const QString& namespaceUri) const
{
    using namespace OrvaneInterface;
    QString reply = replyStart(Acceptance, namespaceUri);
    appendElement(reply, u"command", commandName());
    const auto echo = [&](QStringView name) {
        if (const auto parameter = parameters.find(name))
            appendElement(reply, name, parameters.value(*parameter));
    };
    for (const QString& name : echoNames)
        echo(name);
    echo(u"commandtag");
    if (!remark.isEmpty())
        appendElement(reply, u"remark", remark);
    appendReplyEnd(reply, Acceptance);
    return reply;
}
