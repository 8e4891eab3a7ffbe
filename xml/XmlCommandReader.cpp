#include "XmlCommandReader.h"

#include "DocumentMeasure.h"
#include "ParameterWalk.h"
#include "PlainXmlReader.h"

using namespace Qt::StringLiterals;
using OrvaneInterface::ParameterTree;

bool XmlCommandReader::parseCommand(const QString& text)
{
    document = text;
    return readPlainDocument() || readDocument();
}

/// \return false if it is not plain; name and parameters are then meaningless
bool XmlCommandReader::readPlainDocument()
{
    parameters = ParameterTree(document);
    OrvaneInterface::PlainXmlReader reader(document);
    OrvaneInterface::ParameterWalk walk(reader, parameters);
    rootName = walk.readRootElement();
    walk.readParameters();
    return !reader.hasDeclined();
}

bool XmlCommandReader::readDocument()
{
    parameters = ParameterTree(document);
    const auto measure = OrvaneInterface::measureDocument(document);
    QXmlStreamReader reader;
    reader.addData(measure.excess.isNull() ? document : document.first(measure.readableLength));
    // Reserved in advance: reallocating captured content would hold it twice. Hardly any document grows.
    const qsizetype captureRoom = measure.growth > 0 ? document.size() + measure.growth : 0;
    OrvaneInterface::ParameterWalk walk(reader, parameters, captureRoom);
    rootName = walk.readRootElement();
    if (rootName.contains(u':')) // the local name of a well-formed root has none
        rootName = rootName.section(u':', 1, 1);
    walk.readParameters();

    // A syntax error before the excess is treated as in any other document.
    if (!measure.excess.isNull() && reader.error() != QXmlStreamReader::NotWellFormedError) {
        refusal = measure.excess;
        parameters = ParameterTree(document);
    }
    return refusal.isNull() && !reader.hasError();
}

QString XmlCommandReader::stringParameter(QStringView key, const QString& defaultValue) const
{
    const auto parameter = parameters.find(key);
    return parameter ? parameters.value(*parameter).toString() : defaultValue;
}

int XmlCommandReader::intParameter(QStringView key, int defaultValue) const
{
    const auto parameter = parameters.find(key);
    if (!parameter)
        return defaultValue;
    const QStringView value = parameters.value(*parameter);
    if (value.startsWith("0x"_L1))
        return static_cast<int>(value.mid(2).toString().toUpper().toUInt(nullptr, 16)); // 0xFFFFFFFF is -1
    return value.toInt();
}

void XmlCommandReader::setParameter(QStringView key, const QString& value)
{
    parameters.setValue(parameters.findOrAdd(key), value);
}
