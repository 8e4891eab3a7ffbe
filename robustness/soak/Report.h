#pragma once

#include <QString>

namespace soak {

/// What the stages find: progress on the way, one line for each check, and whether all of them held.
class Report {
public:
    void beginStage(const QString& title);
    void progress(const QString& what, int done, int total);
    void note(const QString& line);
    /// \return \a holds
    bool check(bool holds, const QString& line);
    bool passed() const { return failures == 0; }
    void end() const;

private:
    int checks = 0;
    int failures = 0;
};

} // namespace soak
