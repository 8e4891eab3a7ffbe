#include "ReplyTemplates.h"

#include "XmlNamespaceUri.h"

QString replyStart(QLatin1String name)
{
    return QLatin1String("<p:") + name + QLatin1String(" xmlns:p=\"") + XmlNamespaceUri + QLatin1Char('"');
}

QString replyElement(QLatin1String name)
{
    return replyStart(name) + QLatin1String(" />");
}

QString escapedText(const QString& text)
{
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar character : text) {
        if (character == u'&')
            escaped += QLatin1String("&amp;");
        else if (character == u'<')
            escaped += QLatin1String("&lt;");
        else if (character == u'>')
            escaped += QLatin1String("&gt;");
        else if (character == u'\r')
            escaped += QLatin1String("&#13;");
        else
            escaped += character;
    }
    return escaped;
}

// One arg() call fills all markers at once, so that no text put in is looked at again.

QString commandAcceptedReply(const QString& commandName)
{
    return QStringLiteral("%1><commandname>%2</commandname></p:commandAccepted>")
        .arg(replyStart(QLatin1String("commandAccepted")), escapedText(commandName));
}

QString commandRejectedReply(const QString& commandName, const QString& reason)
{
    return QStringLiteral("%1><commandname>%2</commandname><reason>%3</reason></p:commandRejected>")
        .arg(replyStart(QLatin1String("commandRejected")), escapedText(commandName), escapedText(reason));
}
