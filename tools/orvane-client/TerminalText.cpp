#include "TerminalText.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// The marks, embeddings, overrides and isolates of Unicode's algorithm for text in two directions.
bool changesDirection(char16_t character)
{
    return character == u'\u061C' || character == u'\u200E' || character == u'\u200F'
        || (character >= u'\u202A' && character <= u'\u202E') || (character >= u'\u2066' && character <= u'\u2069');
}

} // namespace

QString textOfBytes(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? QString::fromLatin1(bytes) : text;
}

bool isHarmful(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return changesDirection(character.unicode());
    }
}

QString visible(QChar character)
{
    if (character == u'\r')
        return u"\\r"_s;
    if (character == u'\n')
        return u"\\n"_s;
    if (!isHarmful(character))
        return character;
    constexpr char16_t lastShort = 0xFF;
    const bool isShort = character.unicode() <= lastShort;
    return (isShort ? u"\\x%1"_s : u"\\u%1"_s).arg(int {character.unicode()}, isShort ? 2 : 4, 16, QChar(u'0'));
}

QString visibleText(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        if (character == u'\n' || character == u'\t')
            shown += character;
        else
            shown += visible(character);
    }
    return shown;
}

} // namespace OrvaneClient
