#include "CommandRequest.h"

#include "CommandCatalogue.h"
#include "Outcome.h"
#include "Protocol.h"

#include <QMap>
#include <QSet>
#include <QXmlStreamReader>

#include <algorithm>
#include <memory>

#include <histedit.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

bool isXmlCharacter(uint character)
{
    if (character < 0x20)
        return character == u'\t' || character == u'\n' || character == u'\r';
    return (character < 0xD800 || character > 0xDFFF) && character != 0xFFFE && character != 0xFFFF;
}

/// The text as element content or attribute value. Line ends become references: an empty line would end the message,
/// and a reader would turn the others into blanks or single line feeds.
QString escapedXml(const QString& key, const QString& text, bool inAscii)
{
    if (text.contains(QChar::ReplacementCharacter)) // what is not UTF-8 has become this on the way in
        refuse(u"the value of \"%1\" is not UTF-8"_s.arg(key));
    QString escaped;
    for (const uint character : text.toUcs4()) {
        constexpr uint lastOfAscii = 0x7f;
        const QLatin1String entity = OrvaneInterface::entityOf(character > lastOfAscii ? u' ' : QChar(character));
        if (!isXmlCharacter(character))
            refuse(u"the value of \"%1\" holds U+%2, which no XML document can hold"_s.arg(key).arg(
                QString::number(character, 16).toUpper(), 4, u'0'));
        if (!entity.isNull())
            escaped += entity;
        else if (character == u'"')
            escaped += "&quot;"_L1;
        else if (character == u'\t' || character == u'\n' || (inAscii && character > lastOfAscii))
            escaped += u"&#%1;"_s.arg(character);
        else
            escaped += QChar::fromUcs4(character);
    }
    return escaped;
}

QString nameBefore(QChar mark, const QString& word, const QString& what)
{
    QString name = word.section(mark, 0, 0);
    if (!isXmlName(name))
        refuse(u"\"%1\" is no XML name and so no %2"_s.arg(name, what));
    return name;
}

/// The element of a group: "name:field=value,field=value".
QString groupElement(const QString& name, const QString& fields, bool inAscii)
{
    QString element = u'<' + name;
    QSet<QString> seen;
    for (const QString& field : groupParts(fields)) {
        if (!field.contains(u'='))
            refuse(u"\"%1\" in the group \"%2\" is no field: write field=value"_s.arg(field, name));
        const QString key = nameBefore(u'=', field, u"field"_s);
        if (seen.contains(key))
            refuse(u"the field \"%1\" stands twice in one group \"%2\""_s.arg(key, name));
        seen.insert(key);
        element += u" %1=\"%2\""_s.arg(key, escapedXml(key, field.section(u'=', 1), inAscii));
    }
    return element + "/>"_L1;
}

} // namespace

CommandRequest requestFromWords(const QStringList& words, bool inAscii)
{
    if (words.isEmpty())
        refuse(u"there is no command"_s);
    const QString command = nameBefore(u'\0', words.first(), u"command"_s);
    QStringList content; // of a group the elements that are to be wrapped
    QMap<QString, qsizetype> groups;
    for (const QString& word : words.mid(1)) {
        if (isGroup(word)) {
            const QString name = nameBefore(u':', word, u"group"_s);
            if (!groups.contains(name))
                content.append(QString());
            const qsizetype place = *groups.insert(name, groups.value(name, content.size() - 1));
            content[place] += groupElement(name, word.section(u':', 1), inAscii);
        } else {
            if (!word.contains(u'='))
                refuse(u"\"%1\" is no parameter: write key=value"_s.arg(word));
            const QString key = nameBefore(u'=', word, u"key"_s);
            content.append(u"<%1>%2</%1>"_s.arg(key, escapedXml(key, word.section(u'=', 1), inAscii)));
        }
    }
    for (auto group = groups.begin(); group != groups.end(); ++group)
        content[group.value()] = u"<%1s>%2</%1s>"_s.arg(group.key(), content[group.value()]);

    const QString text = content.join(QString());
    const QByteArray document = u"<%1>%2</%1>"_s.arg(command, text).toUtf8();
    // A host reads pieces of this length, and decodes each by itself.
    constexpr qsizetype lengthOfPiece = 4096;
    const bool mayTear = document.size() + OrvaneInterface::MessageTerminator.size() > lengthOfPiece
        && text.toUtf8().size() != text.size();
    return mayTear && !inAscii ? requestFromWords(words, true) : CommandRequest {command, document};
}

CommandRequest checkedRequest(const QStringList& words, bool isForced)
{
    CommandRequest request = requestFromWords(words);
    const QString fault = isForced ? QString() : commandFault(words);
    if (!fault.isEmpty())
        refuse(fault + u" (--force sends it all the same)"_s);
    return request;
}

CommandRequest requestFromDocument(const QByteArray& document, const QString& fileName)
{
    const QByteArray trimmed = document.trimmed();
    if (trimmed.isEmpty())
        refuse(u"cannot send \"%1\": the document is empty"_s.arg(fileName));
    if (trimmed.contains(OrvaneInterface::MessageTerminator.data()))
        refuse(u"cannot send \"%1\": the document holds an empty line (CR LF CR LF), where a host would cut it in two"_s
                   .arg(fileName));
    QXmlStreamReader reader(trimmed);
    reader.readNextStartElement();
    return {reader.name().toString(), trimmed};
}

QStringList wordsOfLine(const QByteArray& line)
{
    const std::unique_ptr<Tokenizer, decltype(&tok_end)> tokenizer(tok_init(nullptr), &tok_end);
    int count = 0;
    const char** words = nullptr;
    if (!tokenizer || tok_str(tokenizer.get(), line.constData(), &count, &words) != 0)
        refuse(u"a quote or a backslash at the end of the line is left open"_s);
    QStringList texts;
    for (int i = 0; i < count; ++i)
        texts.append(QString::fromUtf8(words[i]));
    return texts;
}

bool isXmlName(const QString& name)
{
    if (name.contains(u':'))
        return false;
    // The reader knows what a name is; whatever else it makes of the text is not the text as a name.
    QXmlStreamReader reader(u'<' + name + "/>"_L1);
    return reader.readNextStartElement() && reader.name() == name && reader.attributes().isEmpty();
}

} // namespace OrvaneClient
