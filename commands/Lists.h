#pragma once

#include "OrvaneInterface.h"

#include <QString>

#include <vector>

// The replies that are lists. Their texts are the host's, and are not escaped: that is how clients know them.
namespace OrvaneInterface {

/// Only the system account gets the credentials.
QString recorderList(const std::vector<OrvaneInterface::RecorderEntry>& recorders, bool withCredentials);
QString presetsList(const std::vector<OrvaneInterface::PresetEntry>& presets);

} // namespace OrvaneInterface
