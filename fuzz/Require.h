#pragma once

#include <QString>

/// Ends the program with \a what on the standard error when \a holds is false: that is how a target reports a finding.
void require(bool holds, const QString& what);
