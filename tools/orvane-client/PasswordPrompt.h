#pragma once

#include <QString>

#include <optional>

namespace OrvaneClient {

/// Asks for a password at the terminal of the process, without showing it. Nothing when there is no terminal, or when
/// the user breaks off. Blocks until the user has answered.
std::optional<QString> askForPassword(const QString& user);

} // namespace OrvaneClient
