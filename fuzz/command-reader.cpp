#include "DocumentGrammar.h"
#include "ReferenceReading.h"
#include "Target.h"
#include "XmlCommandReader.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

// The reader reads any text as ReferenceReading does, or refuses it as a whole; it refuses nothing useful.

namespace {

/// Whether the document contains anything that can be refused. The numbers are below the limits: without any of these,
/// a document of this length never reaches a limit.
bool isExtraordinary(const QString& document)
{
    static const QRegularExpression doctypes(u"<(!DOCTYPE|[^!?]).*<!DOCTYPE|<!DOCTYPE(.{1000}|.*\\[.*[&%<])"_s,
        QRegularExpression::DotMatchesEverythingOption);
    if (document.contains("<!DOCTYPE"_L1))
        return doctypes.match(document).hasMatch();
    const ReferenceReading reference(document);
    // A syntax error in the same element as the excess comes too late.
    const bool tooMuchInTheErroneous =
        !reference.isWellFormed && (document.count(u'=') > 1000 || document.contains("xmlns:"_L1));
    return reference.deepest > 1000 || reference.mostAttributes > 1000 || tooMuchInTheErroneous
        || reference.declarations > 5 || reference.longestNamespace > 100;
}

/// The input itself, or what the grammar makes of it if its first byte cannot begin a text.
QString documentOf(const QByteArray& input)
{
    constexpr qsizetype shortLength = 300;
    const uchar first = input.isEmpty() ? 0 : static_cast<uchar>(input.front());
    if (first < 0x80 || first > 0xBF)
        return QString::fromUtf8(input);
    return first % 2 == 0 ? documentOf(input.sliced(1), shortLength) : plainDocumentOf(input.sliced(1));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString document = documentOf(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    XmlCommandReader reader;
    const bool accepted = reader.parseCommand(document);
    const QMap<QString, QString> parameters = reader.allParameters();
    require(reader.documentText() == document, u"the document text was changed"_s);
    if (!reader.refusalReason().isNull()) {
        require(!accepted, u"a document is both refused and accepted"_s);
        require(isExtraordinary(document), u"an ordinary document is refused"_s);
        require(parameters.isEmpty(), u"a refused document has parameters"_s);
        require(document.contains(reader.commandName()), u"the command name is not in the document"_s);
        return 0;
    }
    const ReferenceReading reference(document);
    require(reference.isWellFormed == accepted, u"only one of the readers finds it well-formed"_s);
    require(reader.commandName() == reference.commandName, u"the readers find different command names"_s);
    require(parameters == reference.parameters, u"the readers find different parameters"_s);
    for (auto it = parameters.constKeyValueBegin(); it != parameters.constKeyValueEnd(); ++it)
        require(reader.hasParameter(it->first) && reader.stringParameter(it->first) == it->second,
            u"parameter %1 is missing or has another value"_s.arg(it->first));
    return 0;
}
