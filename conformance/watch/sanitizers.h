// What changes when this program, and with it the plug-in it loads, is built with a sanitizer.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define STSPI_LEAK_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STSPI_LEAK_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define STSPI_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define STSPI_SANITIZED 1
#endif
#endif
#include <cstddef>

#if defined(STSPI_LEAK_SANITIZER)
#include <sanitizer/lsan_interface.h>
#endif

namespace conformance {

#if defined(STSPI_SANITIZED)
constexpr bool is_sanitized = true;
#else
constexpr bool is_sanitized = false;
#endif

#if defined(__SANITIZE_THREAD__)
constexpr size_t threads_of_sanitizer = 1;  // comes with the first thread that the process starts, and stays
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr size_t threads_of_sanitizer = 1;
#else
constexpr size_t threads_of_sanitizer = 0;
#endif
#else
constexpr size_t threads_of_sanitizer = 0;
#endif

#if defined(STSPI_LEAK_SANITIZER)
constexpr bool has_leak_sanitizer = true;

// True, and a report on standard error, when memory is lost now. Asked while the plug-in is still loaded: once it is
// gone, nobody can tell which of its functions lost something.
inline bool leaks_memory() { return __lsan_do_recoverable_leak_check() != 0; }

// What is allocated while an object of this kind lives is never called lost: for tests that unload the plug-in.
class IgnoreLeaks {
public:
    IgnoreLeaks() { __lsan_disable(); }
    ~IgnoreLeaks() { __lsan_enable(); }
    IgnoreLeaks(const IgnoreLeaks &) = delete;
    IgnoreLeaks &operator=(const IgnoreLeaks &) = delete;
};
#else
constexpr bool has_leak_sanitizer = false;
inline bool leaks_memory() { return false; }
class IgnoreLeaks {
public:
    IgnoreLeaks() {}
};
#endif

}  // namespace conformance
