#include "CommandRequest.h"

#include "CommandCatalogue.h"
#include "HostConnection.h"

#include <QMap>
#include <QSet>
#include <QXmlStreamReader>

#include <algorithm>
#include <memory>
#include <utility>

#include <histedit.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

bool isGroup(const QString& word)
{
    return word.section(u'=', 0, 0).contains(u':');
}

QStringList groupParts(const QString& text)
{
    QStringList parts(QString {});
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool escaped = text[i] == u'\\' && i + 1 < text.size() && (text[i + 1] == u',' || text[i + 1] == u'\\');
        if (escaped)
            parts.last() += text[++i];
        else if (text[i] == u',')
            parts.append(QString());
        else
            parts.last() += text[i];
    }
    return parts;
}

namespace {

using Request = Result<CommandRequest>;

/// Empty when the value of the key can stand in a document.
QString valueFault(const QString& key, const QString& value)
{
    // What is not UTF-8 has become this character on the way in.
    if (value.contains(QChar::ReplacementCharacter))
        return u"the value of \"%1\" is not UTF-8"_s.arg(key);
    const QString character = characterNotInXml(value);
    return character.isEmpty() ? QString()
                               : u"the value of \"%1\" holds %2, which no XML document can hold"_s.arg(key, character);
}

/// Collects the elements of one document, in the order of the words; all groups of one name stand where its first did.
class DocumentBuilder {
public:
    /// Empty when the word could be added, else what is wrong with it.
    QString add(const QString& word);
    QString document(const QString& command) const;

private:
    QString addElement(const QString& key, const QString& value);
    QString addGroup(const QString& name, const QString& fields);

    QStringList elements;
    QMap<QString, qsizetype> groupPositions;
};

QString DocumentBuilder::add(const QString& word)
{
    if (isGroup(word))
        return addGroup(word.section(u':', 0, 0), word.section(u':', 1));
    const qsizetype equals = word.indexOf(u'=');
    if (equals < 0)
        return u"\"%1\" is no parameter: write key=value"_s.arg(word);
    return addElement(word.left(equals), word.mid(equals + 1));
}

QString DocumentBuilder::addElement(const QString& key, const QString& value)
{
    if (!isXmlName(key))
        return u"\"%1\" is no XML name and so no key"_s.arg(key);
    QString fault = valueFault(key, value);
    if (fault.isEmpty())
        elements.append(u"<%1>%2</%1>"_s.arg(key, escapedXml(value)));
    return fault;
}

QString DocumentBuilder::addGroup(const QString& name, const QString& fields)
{
    if (!isXmlName(name))
        return u"\"%1\" is no XML name and so no group"_s.arg(name);
    QString element = u'<' + name;
    QSet<QString> seen;
    for (const QString& field : groupParts(fields)) {
        const qsizetype equals = field.indexOf(u'=');
        const QString key = field.left(equals);
        if (equals < 0)
            return u"\"%1\" in the group \"%2\" is no field: write field=value"_s.arg(field, name);
        if (!isXmlName(key))
            return u"\"%1\" in the group \"%2\" is no XML name and so no field"_s.arg(key, name);
        if (seen.contains(key))
            return u"the field \"%1\" stands twice in one group \"%2\""_s.arg(key, name);
        seen.insert(key);
        const QString value = field.mid(equals + 1);
        if (QString fault = valueFault(key, value); !fault.isEmpty())
            return fault;
        element += u" %1=\"%2\""_s.arg(key, escapedXml(value));
    }
    element += "/>"_L1;

    if (!groupPositions.contains(name)) {
        groupPositions.insert(name, elements.size());
        elements.append(QString());
    }
    elements[groupPositions.value(name)] += element;
    return {};
}

QString DocumentBuilder::document(const QString& command) const
{
    QStringList content = elements;
    for (auto group = groupPositions.begin(); group != groupPositions.end(); ++group) {
        QString& element = content[group.value()];
        element = u"<%1s>%2</%1s>"_s.arg(group.key(), element);
    }
    return u"<%1>%2</%1>"_s.arg(command, content.join(QString()));
}

} // namespace

Result<CommandRequest> requestFromWords(const QStringList& words)
{
    if (words.isEmpty())
        return Request::failure(u"there is no command"_s);
    const QString& command = words.first();
    if (!isXmlName(command))
        return Request::failure(u"\"%1\" is no XML name and so no command"_s.arg(command));
    DocumentBuilder builder;
    for (const QString& word : words.mid(1)) {
        const QString fault = builder.add(word);
        if (!fault.isEmpty())
            return Request::failure(fault);
    }
    return CommandRequest {command, builder.document(command).toUtf8()};
}

Result<QStringList> wordsOfLine(const QByteArray& line)
{
    const std::unique_ptr<Tokenizer, decltype(&tok_end)> tokenizer(tok_init(nullptr), &tok_end);
    int count = 0;
    const char** words = nullptr;
    if (!tokenizer || tok_str(tokenizer.get(), line.constData(), &count, &words) != 0)
        return Result<QStringList>::failure(u"a quote or a backslash at the end of the line is left open"_s);
    QStringList texts;
    for (int i = 0; i < count; ++i)
        texts.append(QString::fromUtf8(words[i]));
    return texts;
}

Result<CommandRequest> requestFromDocument(const QByteArray& document)
{
    const QByteArray trimmed = document.trimmed();
    if (trimmed.isEmpty())
        return Request::failure(u"the document is empty"_s);
    if (trimmed.contains(MessageTerminator))
        return Request::failure(u"the document holds an empty line (CR LF CR LF), where a host would cut it in two"_s);
    QXmlStreamReader reader(trimmed);
    reader.readNextStartElement();
    return CommandRequest {reader.name().toString(), trimmed};
}

Result<CommandRequest> loginRequest(const QString& user, const QString& password)
{
    return requestFromWords({LoginCommand, "username="_L1 + user, "password="_L1 + password});
}

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
