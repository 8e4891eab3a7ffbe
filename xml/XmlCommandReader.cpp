#include "XmlCommandReader.h"

#include "DocumentMeasure.h"
#include "ParameterWalk.h"
#include "PlainXmlReader.h"

#include <type_traits>

using namespace Qt::StringLiterals;
using OrvaneInterface::DocumentMeasure;
using OrvaneInterface::ParameterTree;
using OrvaneInterface::ParameterWalk;
using OrvaneInterface::PlainXmlReader;

namespace {

/// Calls \a function with the key in UTF-16, in which all keys of the library's own are.
template <typename Function> auto inUtf16(QAnyStringView key, const Function& function)
{
    return key.visit([&](auto text) {
        if constexpr (std::is_same_v<decltype(text), QStringView>)
            return function(text);
        else
            return function(text.toString());
    });
}

} // namespace

XmlCommandReader::XmlCommandReader() = default;
XmlCommandReader::~XmlCommandReader() = default;

bool XmlCommandReader::parseCommand(const QString& text)
{
    document = text;
    parameters.setDocument(document);
    if (readPlainDocument())
        return true;
    parameters.clear();
    return readDocument();
}

/// \return false when it is not plain; then nothing is known of it
bool XmlCommandReader::readPlainDocument()
{
    PlainXmlReader reader(document);
    ParameterWalk walk(reader, parameters);
    rootName = walk.readRootElement();
    walk.readParameters();
    return !reader.hasDeclined();
}

bool XmlCommandReader::readDocument()
{
    const DocumentMeasure measure = OrvaneInterface::measureDocument(document);
    QXmlStreamReader reader;
    reader.addData(measure.excess.isNull() ? document : document.first(measure.readableLength));
    // Copying a content that grows, to make room for it, would hold it twice. Hardly any grows.
    const qsizetype captureRoom = measure.growth > 0 ? document.size() + measure.growth : 0;
    ParameterWalk walk(reader, parameters, captureRoom);
    rootName = walk.readRootElement();
    if (rootName.contains(u':')) // that of a well-formed root holds none
        rootName = rootName.section(u':', 1, 1);
    walk.readParameters();

    // An error that comes before what is too much is an error as in any other document.
    if (!measure.excess.isNull() && reader.error() != QXmlStreamReader::NotWellFormedError) {
        refusal = measure.excess;
        parameters.clear();
    }
    return refusal.isNull() && !reader.hasError();
}

/// The node of a parameter that is there.
std::optional<ParameterTree::Node> XmlCommandReader::find(QAnyStringView key) const
{
    const std::optional<ParameterTree::Node> node =
        inUtf16(key, [this](QStringView text) { return parameters.find(text); });
    return node && parameters.hasValue(*node) ? node : std::nullopt;
}

bool XmlCommandReader::hasParameter(QAnyStringView key) const
{
    return find(key).has_value();
}

QString XmlCommandReader::stringParameter(QAnyStringView key, const QString& defaultValue) const
{
    const auto parameter = find(key);
    return parameter ? parameters.value(*parameter).toString() : defaultValue;
}

std::string XmlCommandReader::utf8Parameter(QAnyStringView key) const
{
    const auto parameter = find(key);
    return parameter ? parameters.value(*parameter).toUtf8().toStdString() : std::string();
}

int XmlCommandReader::intParameter(QAnyStringView key, int defaultValue) const
{
    const auto parameter = find(key);
    if (!parameter)
        return defaultValue;
    const QStringView value = parameters.value(*parameter);
    if (value.startsWith("0x"_L1))
        return static_cast<int>(value.mid(2).toString().toUpper().toUInt(nullptr, 16)); // eight F digits are -1
    return value.toInt();
}

void XmlCommandReader::setParameter(QAnyStringView key, const QString& value)
{
    parameters.setValue(inUtf16(key, [this](QStringView text) { return parameters.findOrAdd(text); }), value);
}
