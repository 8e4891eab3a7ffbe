#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace OrvaneClient {

class Reply;

/// The names that a host has told in its lists, for the completion.
class HostNames {
public:
    /// Takes what the reply tells of them. \return whether it is one of the lists
    bool learn(const Reply& reply);

    /// The command whose answer has the values of this key, as getRecorderList for "recorder"; null for other keys.
    static QString listFor(const QString& key);
    /// Nothing while the host has not told them.
    std::optional<QStringList> valuesOf(const QString& key) const;

private:
    std::optional<QStringList> presets;
    std::optional<QStringList> recorders;
    std::optional<QStringList> tracks; ///< of all recorders
};

} // namespace OrvaneClient
