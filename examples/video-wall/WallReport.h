#pragma once

#include <QString>

class WallState;

/// An XML document that describes what each split of the wall shows at \a now (milliseconds since 1970, UTC).
QString wallReport(const WallState& state, qint64 now);
