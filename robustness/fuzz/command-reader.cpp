#include "CommandModel.h"
#include "DocumentLimits.h"
#include "Require.h"
#include "Target.h"
#include "XmlCommandReader.h"

#include <QStringList>

// Whatever a text is, the reader makes the same of it as a second way of reading it, twice, in bounded memory; and each
// key is made of names that the document holds. It refuses what is too much for a command and nothing else; a document
// that it refuses, although it is well-formed, may keep any part of what it holds, but nothing else.

/// The reader shows all of its parameters to its friend of this name alone.
class tst_xml_command_reader {
public:
    static QMap<QString, QString> parameters(const XmlCommandReader& reader) { return reader.parameters.values(); }
    static bool refused(const XmlCommandReader& reader)
    {
        return reader.xmlReader.error() == QXmlStreamReader::CustomError;
    }
    static qsizetype size(const XmlCommandReader& reader) { return reader.parameters.size(); }
};

namespace {

using Friend = tst_xml_command_reader;

bool isNameWithNumber(const QString& segment, const QSet<QString>& names)
{
    if (names.contains(segment))
        return true;
    qsizetype length = segment.size();
    while (length > 0 && segment[length - 1] >= u'0' && segment[length - 1] <= u'9') {
        if (names.contains(segment.left(--length)))
            return true;
    }
    return false;
}

/// Whether the reader may have stopped before the first error in the document, or has: entities have limits of their
/// own.
bool mayBeTooMuch(const QString& document, const XmlCommandReader& reader)
{
    return Friend::refused(reader) || readableLength(document) < document.size()
        || document.contains(QLatin1String("<!ENTITY"));
}

void requireKeysOfTheDocument(const XmlCommandReader& reader, const QSet<QString>& names)
{
    const QStringList keys = Friend::parameters(reader).keys();
    for (const QString& key : keys) {
        if (key == QLatin1String("paramvalue"))
            continue;
        const QStringList segments = key.split(u'/');
        for (const QString& segment : segments)
            require(isNameWithNumber(segment, names), QStringLiteral("the key %1 is not of the document").arg(key));
    }
}

void requirePartOf(const CommandModel& model, const XmlCommandReader& reader)
{
    const auto parameters = Friend::parameters(reader);
    for (auto it = parameters.constKeyValueBegin(); it != parameters.constKeyValueEnd(); ++it) {
        // Where the refusal comes inside a "paramvalue", its value is the beginning of the one in the document.
        const bool stored =
            it->first == QLatin1String("paramvalue") || model.everStored.contains({it->first, it->second});
        require(stored, QStringLiteral("the parameter %1 is not in the document").arg(it->first));
    }
}

void requireEachFound(const XmlCommandReader& reader)
{
    const auto parameters = Friend::parameters(reader);
    for (auto it = parameters.constKeyValueBegin(); it != parameters.constKeyValueEnd(); ++it) {
        require(reader.hasParameter(it->first) && reader.stringParameter(it->first) == it->second,
            QStringLiteral("the parameter %1 is not found as it is").arg(it->first));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString document = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    XmlCommandReader reader;
    const bool accepted = reader.parseCommand(document);
    require(reader.documentText() == document, QStringLiteral("the document is not kept as it is"));
    require(Friend::size(reader) <= parameterBudget(document),
        QStringLiteral("%1 bytes for a document of %2 characters").arg(Friend::size(reader)).arg(document.size()));

    XmlCommandReader again;
    require(again.parseCommand(document) == accepted && again.commandName() == reader.commandName()
            && Friend::parameters(again) == Friend::parameters(reader),
        QStringLiteral("another answer at the second time"));

    const CommandModel model(document);
    require(model.wellFormed || !accepted, QStringLiteral("an error is not reported"));
    require(!model.isTooMuch || !accepted, QStringLiteral("what is too much is not refused"));
    require(accepted || !model.wellFormed || model.isTooMuch || model.mayBeTooMuch,
        QStringLiteral("a document is refused that is not too much"));
    requireEachFound(reader);
    requireKeysOfTheDocument(reader, model.names);
    requirePartOf(model, reader);
    if (model.wellFormed == accepted && !mayBeTooMuch(document, reader)) {
        require(reader.commandName() == model.name, QStringLiteral("another command"));
        require(Friend::parameters(reader) == model.parameters, QStringLiteral("other parameters"));
    }
    return 0;
}
