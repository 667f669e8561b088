// Chance without a state: the same seed, rule, count and call always draw the same, whatever other threads do.
#pragma once

#include <cstdint>

#include "filter/ledger/text_hash.h"

namespace filter {

// earlier: how many calls of this identity the rule has matched before.
inline uint64_t draw_for(uint64_t seed, uint64_t rule, uint64_t earlier, uint64_t call) {
    return mixed(mixed(seed, rule), mixed(call, earlier));
}

// 0 or more, below 1.
inline double share_of(uint64_t draw) { return static_cast<double>(draw >> 11) * 0x1p-53; }

// A number from low to high, both ends too, by another draw of the same call.
inline uint64_t number_between(uint64_t draw, uint64_t low, uint64_t high) {
    const uint64_t other = mixed(draw, 1);
    const uint64_t count = high - low + 1;
    return count == 0 ? other : low + other % count;
}

}  // namespace filter
