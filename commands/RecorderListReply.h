#pragma once

#include "OrvaneInterface.h"

#include <QString>

#include <vector>

namespace OrvaneInterface {

/// The reply to getRecorderList; only the system account gets the credentials.
QString recorderListReply(const std::vector<OrvaneInterface::RecorderEntry>& recorders, bool withCredentials);

} // namespace OrvaneInterface
