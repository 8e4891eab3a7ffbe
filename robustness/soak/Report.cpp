#include "Report.h"

#include <cstdio>

namespace soak {

namespace {

void print(const QString& line)
{
    static_cast<void>(std::printf("%s\n", qPrintable(line)));
    static_cast<void>(std::fflush(stdout));
}

} // namespace

void Report::beginStage(const QString& title)
{
    print(QStringLiteral("== %1").arg(title));
}

void Report::progress(const QString& what, int done, int total)
{
    constexpr int signs = 5;
    if (total >= signs && done % (total / signs) == 0)
        print(QStringLiteral("   %1: %2 of %3").arg(what).arg(done).arg(total));
}

void Report::note(const QString& line)
{
    print(QStringLiteral("      %1").arg(line));
}

bool Report::check(bool holds, const QString& line)
{
    ++checks;
    failures += holds ? 0 : 1;
    print(QStringLiteral(" %1 %2").arg(holds ? QStringLiteral(" ok ") : QStringLiteral("FAIL"), line));
    return holds;
}

void Report::end() const
{
    if (passed())
        print(QStringLiteral("All %1 checks passed.").arg(checks));
    else
        print(QStringLiteral("%1 of %2 checks FAILED.").arg(failures).arg(checks));
}

} // namespace soak
