#include "HostCall.h"
#include "OrvaneConnection.h"

#include "OrvaneInterface.h"
#include "XmlCommandReader.h"

namespace OrvaneInterface {

using namespace Qt::StringLiterals;

OrvaneConnection::Result OrvaneConnection::handleSetPreset(XmlCommandReader& reader)
{
    HostCall(*this)->setPreset(reader.utf8Parameter(u"presetname"));
    return sendCommandAccepted(reader.commandName());
}

OrvaneConnection::Result OrvaneConnection::handleSetSplitMode(XmlCommandReader& reader)
{
    // Decimal only, unlike intParameter(): hexadecimal text gives split mode 0.
    const int splitMode = reader.stringParameter(u"splitmode", u"-1"_s).toInt();
    if (splitMode >= 0) {
        HostCall(*this)->setSplitMode(splitMode);
    } else {
        const int windowId = reader.intParameter(u"windowid", -1);
        HostCall(*this)->setSplitModeByName(windowId, reader.documentText().toStdString());
    }
    return sendCommandAccepted(reader.commandName());
}

} // namespace OrvaneInterface
