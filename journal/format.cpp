#include "journal/format.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace journal {

uint32_t mark_of(uint64_t place, uint64_t nonce) {
    uint64_t mixed = (place ^ nonce) * 0x9e3779b97f4a7c15U;
    mixed = (mixed ^ (mixed >> 29)) * 0xbf58476d1ce4e5b9U;
    const auto mark = static_cast<uint32_t>(mixed >> 32);
    return mark != 0 ? mark : 1;
}

uint64_t check_of(const void *bytes, size_t size, uint64_t place, uint64_t nonce) {
    const uint64_t check = XXH3_64bits_withSeed(bytes, size, place ^ nonce);
    return check != 0 && check != PADDING ? check : 1;
}

}  // namespace journal
