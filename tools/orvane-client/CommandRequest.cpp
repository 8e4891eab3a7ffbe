#include "CommandRequest.h"

#include "CommandCatalogue.h"
#include "MessageCutter.h"
#include "XmlText.h"

#include <QMap>
#include <QSet>
#include <QXmlStreamReader>

#include <histedit.h>

#include <memory>
#include <utility>

namespace OrvaneClient {

namespace {

using Request = Result<CommandRequest>;

/// Empty when the value of the key can stand in a document.
QString valueFault(const QString& key, const QString& value)
{
    // What is not UTF-8 has become this character on the way in.
    if (value.contains(QChar::ReplacementCharacter))
        return QStringLiteral("the value of \"%1\" is not UTF-8").arg(key);
    const QString character = characterNotInXml(value);
    return character.isEmpty()
        ? QString()
        : QStringLiteral("the value of \"%1\" holds %2, which no XML document can hold").arg(key, character);
}

/// The parts between the commas that have no backslash before them.
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
    const qsizetype equals = word.indexOf(u'=');
    const qsizetype colon = word.indexOf(u':');
    if (colon >= 0 && (equals < 0 || colon < equals))
        return addGroup(word.left(colon), word.mid(colon + 1));
    if (equals < 0)
        return QStringLiteral("\"%1\" is no parameter: write key=value").arg(word);
    return addElement(word.left(equals), word.mid(equals + 1));
}

QString DocumentBuilder::addElement(const QString& key, const QString& value)
{
    if (!isXmlName(key))
        return QStringLiteral("\"%1\" is no XML name and so no key").arg(key);
    QString fault = valueFault(key, value);
    if (fault.isEmpty())
        elements.append(QStringLiteral("<%1>%2</%1>").arg(key, escapedXml(value)));
    return fault;
}

QString DocumentBuilder::addGroup(const QString& name, const QString& fields)
{
    if (!isXmlName(name))
        return QStringLiteral("\"%1\" is no XML name and so no group").arg(name);
    QString element = u'<' + name;
    QSet<QString> seen;
    for (const QString& field : groupParts(fields)) {
        const qsizetype equals = field.indexOf(u'=');
        const QString key = field.left(equals);
        if (equals < 0)
            return QStringLiteral("\"%1\" in the group \"%2\" is no field: write field=value").arg(field, name);
        if (!isXmlName(key))
            return QStringLiteral("\"%1\" in the group \"%2\" is no XML name and so no field").arg(key, name);
        if (seen.contains(key))
            return QStringLiteral("the field \"%1\" stands twice in one group \"%2\"").arg(key, name);
        seen.insert(key);
        const QString value = field.mid(equals + 1);
        if (QString fault = valueFault(key, value); !fault.isEmpty())
            return fault;
        element += QStringLiteral(" %1=\"%2\"").arg(key, escapedXml(value));
    }
    element += QLatin1String("/>");

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
        element = QStringLiteral("<%1s>%2</%1s>").arg(group.key(), element);
    }
    return QStringLiteral("<%1>%2</%1>").arg(command, content.join(QString()));
}

} // namespace

Result<CommandRequest> requestFromWords(const QStringList& words)
{
    if (words.isEmpty())
        return Request::failure(QStringLiteral("there is no command"));
    const QString& command = words.first();
    if (!isXmlName(command))
        return Request::failure(QStringLiteral("\"%1\" is no XML name and so no command").arg(command));
    DocumentBuilder builder;
    for (const QString& word : words.mid(1)) {
        const QString fault = builder.add(word);
        if (!fault.isEmpty())
            return Request::failure(fault);
    }
    return CommandRequest {command, builder.document(command).toUtf8()};
}

Result<CommandRequest> requestFromLine(const QByteArray& line)
{
    const std::unique_ptr<Tokenizer, decltype(&tok_end)> tokenizer(tok_init(nullptr), &tok_end);
    int count = 0;
    const char** words = nullptr;
    if (!tokenizer || tok_str(tokenizer.get(), line.constData(), &count, &words) != 0)
        return Request::failure(QStringLiteral("a quote or a backslash at the end of the line is left open"));
    QStringList texts;
    for (int i = 0; i < count; ++i)
        texts.append(QString::fromUtf8(words[i]));
    return requestFromWords(texts);
}

Result<CommandRequest> requestFromDocument(const QByteArray& document)
{
    const QByteArray trimmed = document.trimmed();
    if (trimmed.isEmpty())
        return Request::failure(QStringLiteral("the document is empty"));
    if (trimmed.contains(MessageTerminator))
        return Request::failure(
            QStringLiteral("the document holds an empty line (CR LF CR LF), where a host would cut it in two"));
    QXmlStreamReader reader(trimmed);
    reader.readNextStartElement();
    return CommandRequest {reader.name().toString(), trimmed};
}

Result<CommandRequest> loginRequest(const QString& user, const QString& password)
{
    return requestFromWords({LoginCommand, QLatin1String("username=") + user, QLatin1String("password=") + password});
}

} // namespace OrvaneClient
