#pragma once

#include <QtGlobal>

/// Marks what the library exports; everything else is hidden.
#if defined(ORVANE_INTERFACE_BUILD)
#define ORVANE_INTERFACE_EXPORT Q_DECL_EXPORT
#else
#define ORVANE_INTERFACE_EXPORT Q_DECL_IMPORT
#endif
