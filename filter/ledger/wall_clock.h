// Now, in nanoseconds.
#pragma once

#include <time.h>

#include <cstdint>

namespace filter {

inline uint64_t clock_ns(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

inline uint64_t wall_clock_ns() { return clock_ns(CLOCK_REALTIME); }
inline uint64_t monotonic_ns() { return clock_ns(CLOCK_MONOTONIC); }

}  // namespace filter
