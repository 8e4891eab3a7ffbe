#include "Split.h"

#include <algorithm>

qint64 Playback::positionAt(qint64 now) const
{
    return std::clamp(from + std::max<qint64>(now - startedAt, 0), start, end);
}

double Playback::progressAt(qint64 now) const
{
    if (end <= start)
        return 1;
    return static_cast<double>(positionAt(now) - start) / static_cast<double>(end - start);
}
