#pragma once

#include "OrvaneInterface.h"

#include <QString>

#include <vector>

// The texts of all that clients receive. Every reply is one element, without XML declaration and without white space
// between its elements; its root binds the prefix p to the protocol's namespace. The texts in an acknowledgement may be
// anything that a client has sent, and are escaped. Those in a list are the host's, and are not: that is how clients
// know them.
namespace OrvaneInterface {

/// The short acceptance.
QString acceptance(const QString& commandName);
QString rejection(const QString& commandName, const QString& reason);
/// Only the system account gets the credentials.
QString recorderList(const std::vector<OrvaneInterface::RecorderEntry>& recorders, bool withCredentials);
QString presetsList(const std::vector<OrvaneInterface::PresetEntry>& presets);
/// What a client that waits for it receives when a refresh of the recorder list has finished.
QString refreshFinishedNotice();

} // namespace OrvaneInterface
