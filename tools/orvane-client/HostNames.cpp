#include "HostNames.h"

#include "CommandCatalogue.h"
#include "Reply.h"

#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// The attribute "name" of all elements with this name, each once.
QStringList namesIn(const Reply& reply, QLatin1String element)
{
    QStringList names;
    QXmlStreamReader reader(reply.raw());
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement && reader.name() == element)
            names.append(reader.attributes().value("name"_L1).toString());
    }
    names.removeDuplicates();
    return names;
}

} // namespace

bool HostNames::learn(const Reply& reply)
{
    const bool hasPresets = reply.rootName() == PresetsList;
    const bool hasRecorders = reply.rootName() == RecorderList;
    if (hasPresets)
        presets = namesIn(reply, "preset"_L1);
    if (hasRecorders) {
        recorders = namesIn(reply, "recorder"_L1);
        tracks = namesIn(reply, "track"_L1);
    }
    if (reply.rootName() == RefreshFinishedNotice)
        recorders.reset();
    return hasPresets || hasRecorders;
}

QString HostNames::listFor(const QString& key)
{
    if (key == "presetname"_L1)
        return u"getPresetsList"_s;
    return key == "recorder"_L1 || key == "track"_L1 ? u"getRecorderList"_s : QString();
}

std::optional<QStringList> HostNames::valuesOf(const QString& key) const
{
    if (key == "presetname"_L1)
        return presets;
    return key == "recorder"_L1 || !recorders ? recorders : tracks;
}

} // namespace OrvaneClient
