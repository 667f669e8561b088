// Whether this program, and with it the plug-in it loads, may be built with a sanitizer.
#pragma once

namespace conformance {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool is_sanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool is_sanitized = true;
#else
constexpr bool is_sanitized = false;
#endif
#else
constexpr bool is_sanitized = false;
#endif

}  // namespace conformance
