// Times in nanoseconds, without a system call.
#pragma once

#include <cstdint>
#include <ctime>

namespace journal {

inline uint64_t nanoseconds(clockid_t clock) noexcept {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1000000000U + static_cast<uint64_t>(time.tv_nsec);
}

inline uint64_t monotonic_now() noexcept { return nanoseconds(CLOCK_MONOTONIC); }
// In steps of the system's clock tick, a few milliseconds, for a fifth of the price.
inline uint64_t coarse_wall_now() noexcept { return nanoseconds(CLOCK_REALTIME_COARSE); }

}  // namespace journal
