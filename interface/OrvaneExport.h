#pragma once

#include <QtGlobal>

/// Marks exported symbols; all others are hidden. A static library exports nothing: define ORVANE_INTERFACE_STATIC to
/// compile against one. The CMake target and pkg-config do this automatically.
#if defined(ORVANE_INTERFACE_STATIC)
#define ORVANE_INTERFACE_EXPORT
#elif defined(ORVANE_INTERFACE_BUILD)
#define ORVANE_INTERFACE_EXPORT Q_DECL_EXPORT
#else
#define ORVANE_INTERFACE_EXPORT Q_DECL_IMPORT
#endif
