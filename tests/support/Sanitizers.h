#pragma once

/// Whether a sanitizer is built in: it keeps freed memory, and functions take more stack.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool WithSanitizer = true;
#elif !defined(__has_feature)
inline constexpr bool WithSanitizer = false;
#elif __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool WithSanitizer = true;
#else
inline constexpr bool WithSanitizer = false;
#endif
