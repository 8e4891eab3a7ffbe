#pragma once

#include <QtGlobal>

/// Marks what the library exports; everything else is hidden. Nothing is exported from a static library: whoever
/// compiles against one defines ORVANE_INTERFACE_STATIC, as the CMake target and pkg-config do by themselves.
#if defined(ORVANE_INTERFACE_STATIC)
#define ORVANE_INTERFACE_EXPORT
#elif defined(ORVANE_INTERFACE_BUILD)
#define ORVANE_INTERFACE_EXPORT Q_DECL_EXPORT
#else
#define ORVANE_INTERFACE_EXPORT Q_DECL_IMPORT
#endif
