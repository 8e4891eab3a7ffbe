#include "Trace.h"

#include <QRegularExpression>
#include <QStringDecoder>

namespace OrvaneClient {

namespace {

/// Bytes that are no UTF-8, such as a character that two reads cut apart, are shown one by one.
QString decoded(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? QString::fromLatin1(bytes) : text;
}

QString visible(QChar character)
{
    if (character == u'\r')
        return QStringLiteral("\\r");
    if (character == u'\n')
        return QStringLiteral("\\n");
    const bool control = character.unicode() < 0x20 || (character.unicode() >= 0x7F && character.unicode() < 0xA0);
    return control ? QStringLiteral("\\x%1").arg(int {character.unicode()}, 2, 16, QChar(u'0')) : QString(character);
}

QString trace(QLatin1String mark, const QString& text)
{
    QString lines = mark;
    for (qsizetype i = 0; i < text.size(); ++i) {
        lines += visible(text[i]);
        if (text[i] == u'\n' && i + 1 < text.size())
            lines += u'\n' + mark;
    }
    return lines;
}

QString withoutPassword(QString text)
{
    static const QRegularExpression password(QStringLiteral("(<(?:[\\w.-]+:)?password\\b[^>]*>).*?(</|$)"),
        QRegularExpression::DotMatchesEverythingOption | QRegularExpression::UseUnicodePropertiesOption);
    return text.replace(password, QStringLiteral("\\1***\\2"));
}

} // namespace

QString traceOfSent(const QByteArray& bytes)
{
    return trace(QLatin1String("> "), withoutPassword(decoded(bytes)));
}

QString traceOfReceived(const QByteArray& bytes)
{
    return trace(QLatin1String("< "), decoded(bytes));
}

} // namespace OrvaneClient
