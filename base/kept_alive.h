#pragma once

#include <memory>

#if defined(__SANITIZE_ADDRESS__)
#define STSPI_LEAK_DETECTION 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STSPI_LEAK_DETECTION 1
#endif
#endif
#if defined(STSPI_LEAK_DETECTION)
#include <sanitizer/lsan_interface.h>
#endif

namespace base {

// Gives the object up: from here on it lives as long as the process, with all that it holds. A leak sanitizer is told that
// this is meant. (A suppression would say the same, at the price of reading debug information in each process that ends.)
template <class T>
T *kept_alive(std::unique_ptr<T> object) noexcept {
#if defined(STSPI_LEAK_DETECTION)
    __lsan_ignore_object(object.get());
#endif
    return object.release();
}

}  // namespace base
