#include "ReplyTemplates.h"

#include "XmlNamespaceUri.h"

#include <QStringBuilder>

#include <algorithm>

// Put together with %, which makes room for its parts at once, and never with arg(), which would look for its markers
// in what a client has sent.

namespace {

QLatin1String entityOf(QChar character)
{
    switch (character.unicode()) {
    case u'&':
        return QLatin1String("&amp;");
    case u'<':
        return QLatin1String("&lt;");
    case u'>':
        return QLatin1String("&gt;");
    case u'\r':
        return QLatin1String("&#13;");
    default:
        return {};
    }
}

/// As it may stand between two tags.
QString escapedText(QStringView text)
{
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar character : text) {
        if (const QLatin1String entity = entityOf(character); entity.isNull())
            escaped += character;
        else
            escaped += entity;
    }
    return escaped;
}

} // namespace

QString replyStart(QLatin1String name)
{
    QString reply;
    reply.reserve(UsualReplyLength);
    reply += QLatin1String("<p:") % name % QLatin1String(" xmlns:p=\"") % XmlNamespaceUri % QLatin1Char('"');
    return reply;
}

QString replyElement(QLatin1String name)
{
    return replyStart(name) % QLatin1String(" />");
}

void appendElement(QString& reply, QStringView name, QStringView text)
{
    QString escaped; // not needed for nearly all texts
    if (std::any_of(text.begin(), text.end(), [](QChar character) { return !entityOf(character).isNull(); })) {
        escaped = escapedText(text);
        text = escaped;
    }
    reply += QLatin1Char('<') % name % QLatin1Char('>') % text % QLatin1String("</") % name % QLatin1Char('>');
}

QString commandAcceptedReply(const QString& commandName)
{
    QString reply = replyStart(QLatin1String("commandAccepted"));
    reply += u'>';
    appendElement(reply, u"commandname", commandName);
    reply += QLatin1String("</p:commandAccepted>");
    return reply;
}

QString commandRejectedReply(const QString& commandName, const QString& reason)
{
    QString reply = replyStart(QLatin1String("commandRejected"));
    reply += u'>';
    appendElement(reply, u"commandname", commandName);
    appendElement(reply, u"reason", reason);
    reply += QLatin1String("</p:commandRejected>");
    return reply;
}
