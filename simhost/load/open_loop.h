// The open loop: with a rate, each operation has a time at which it is to begin, whatever became of those before.
#pragma once

#include <cstdint>

#include "simhost/load/workload.h"

// Nanoseconds from the run's begin to that of a stream's operation number. The streams take turns, so that together they keep to
// the rate, which is not 0.
inline uint64_t intended_begin_ns(const Workload &workload, unsigned stream, uint64_t number) {
    const double place = static_cast<double>(number) * workload.total_streams() + stream;
    return static_cast<uint64_t>(place * 1e9 / workload.rate);
}
