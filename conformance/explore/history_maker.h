// The histories of a seed: the number alone says which one it is. First come all those of one and two calls over a tiny
// world, then those of three calls in turn with drawn ones, until all have been; then drawn ones alone.
#pragma once

#include <cstdint>

#include "conformance/explore/history.h"

namespace conformance {

// How many are over the tiny world, and the number of the first that all have been before.
uint64_t small_histories();
uint64_t first_after_small();
History small_history(uint64_t number);

// The number-th of the seed.
History make_history(uint64_t seed, uint64_t number, size_t most_calls);

}  // namespace conformance
