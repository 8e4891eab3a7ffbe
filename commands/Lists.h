#pragma once

#include "OrvaneInterface.h"

#include <QString>

#include <vector>

// The replies that are lists. The host's strings are not escaped: clients expect that.
namespace OrvaneInterface {

/// Only the system account gets the credentials.
QString recorderList(const std::vector<OrvaneInterface::RecorderEntry>& recorders, bool withCredentials);
QString presetsList(const std::vector<OrvaneInterface::PresetEntry>& presets);

} // namespace OrvaneInterface
