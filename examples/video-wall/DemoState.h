#pragma once

#include <QStringList>

class WallHost;

/// Fills the wall for pictures, with the same host calls that Orvane would cause.
class DemoState {
public:
    static QStringList names();
    /// Nothing for a name that there is not.
    static void apply(const QString& name, WallHost& host);
};
