#include "CommandModel.h"
#include "Require.h"
#include "Target.h"
#include "XmlCommandReader.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

// Whatever a text is, the reader makes the same of it as the plain way of reading it, or refuses it whole; and it
// refuses nothing that somebody could have a use for.

namespace {

/// Whether it has what can be too much: the numbers are smaller than the bounds, so that these are never the reason for
/// a document of this length.
bool isExtraordinary(const QString& document)
{
    static const QRegularExpression longOrReferring(
        u"<!DOCTYPE(.{1000}|.*\\[.*[&%<])"_s, QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression several(
        u"<(!DOCTYPE|[^!?]).*<!DOCTYPE"_s, QRegularExpression::DotMatchesEverythingOption);
    if (several.match(document).hasMatch())
        return true;
    if (document.contains("<!DOCTYPE"_L1))
        return longOrReferring.match(document).hasMatch();
    const CommandModel model(document);
    // An error in the very element that has too many attributes comes too late.
    const bool manyInTheErroneous = !model.wellFormed && document.count(u'=') > 1000;
    return model.deepest > 1000 || model.mostAttributes > 1000 || manyInTheErroneous || model.declarations > 5;
}

void requireRefusedWhole(const XmlCommandReader& reader, const QString& document)
{
    require(isExtraordinary(document), u"an ordinary document is refused"_s);
    require(reader.allParameters().isEmpty(), u"a document that is refused has parameters"_s);
    require(document.contains(reader.commandName()), u"the name is not of the document"_s);
}

void requireEqual(const XmlCommandReader& reader, const CommandModel& model)
{
    const QMap<QString, QString> parameters = reader.allParameters();
    require(reader.commandName() == model.name, u"another command"_s);
    require(parameters == model.parameters, u"other parameters"_s);
    for (auto it = parameters.constKeyValueBegin(); it != parameters.constKeyValueEnd(); ++it) {
        require(reader.hasParameter(it->first) && reader.stringParameter(it->first) == it->second,
            u"the parameter %1 is not found as it is"_s.arg(it->first));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString document = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    XmlCommandReader reader;
    const bool accepted = reader.parseCommand(document);
    require(reader.documentText() == document, u"the document is not kept as it is"_s);
    if (!reader.refusalReason().isNull()) {
        require(!accepted, u"a document is refused and accepted"_s);
        requireRefusedWhole(reader, document);
        return 0;
    }
    const CommandModel model(document);
    require(model.wellFormed == accepted, u"it is well-formed for one reader alone"_s);
    requireEqual(reader, model);
    return 0;
}
