#include "XmlText.h"

#include <QXmlStreamReader>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

bool isXmlCharacter(char32_t character)
{
    if (character < 0x20)
        return character == u'\t' || character == u'\n' || character == u'\r';
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return !surrogate && character != 0xFFFE && character != 0xFFFF;
}

QString escapedCharacter(QChar character)
{
    switch (character.unicode()) {
    case u'&':
        return u"&amp;"_s;
    case u'<':
        return u"&lt;"_s;
    case u'>':
        return u"&gt;"_s;
    case u'"':
        return u"&quot;"_s;
    case u'\t':
    case u'\n':
    case u'\r':
        return u"&#%1;"_s.arg(int {character.unicode()}); // a char16_t would stand there as the character
    default:
        return character;
    }
}

} // namespace

bool isXmlName(const QString& name)
{
    if (name.contains(u':'))
        return false;
    // The reader knows what a name is; whatever else it makes of the text is not the text as a name.
    QXmlStreamReader reader(u'<' + name + "/>"_L1);
    return reader.readNextStartElement() && reader.name() == name && reader.attributes().isEmpty();
}

QString characterNotInXml(const QString& text)
{
    const QList<uint> characters = text.toUcs4();
    const auto bad = std::find_if_not(characters.begin(), characters.end(), isXmlCharacter);
    if (bad == characters.end())
        return {};
    return u"U+%1"_s.arg(QString::number(*bad, 16).toUpper(), 4, u'0');
}

QString escapedXml(const QString& text)
{
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar character : text)
        escaped += escapedCharacter(character);
    return escaped;
}

} // namespace OrvaneClient
