#include "Trace.h"

#include <QRegularExpression>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

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
        return u"\\r"_s;
    if (character == u'\n')
        return u"\\n"_s;
    const bool control = character.unicode() < 0x20 || (character.unicode() >= 0x7F && character.unicode() < 0xA0);
    return control ? u"\\x%1"_s.arg(int {character.unicode()}, 2, 16, QChar(u'0')) : QString(character);
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
    static const QRegularExpression password(u"(<(?:[\\w.-]+:)?password\\b[^>]*>).*?(</|$)"_s,
        QRegularExpression::DotMatchesEverythingOption | QRegularExpression::UseUnicodePropertiesOption);
    return text.replace(password, u"\\1***\\2"_s);
}

} // namespace

QString traceOfSent(const QByteArray& bytes)
{
    return trace("> "_L1, withoutPassword(decoded(bytes)));
}

QString traceOfReceived(const QByteArray& bytes)
{
    return trace("< "_L1, decoded(bytes));
}

} // namespace OrvaneClient
