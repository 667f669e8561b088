#include "stsimage/index_checksum.h"

#include <xxhash.h>

#include <new>

namespace stsimage {

IndexChecksum::IndexChecksum(uint64_t seed) : state(XXH3_createState()) {
    if (state == nullptr)
        throw std::bad_alloc();
    XXH3_64bits_reset_withSeed(state.get(), seed);
}

void IndexChecksum::add(const IndexEntry *entries, size_t count) {
    XXH3_64bits_update(state.get(), entries, count * sizeof *entries);
}

uint64_t IndexChecksum::value() const { return XXH3_64bits_digest(state.get()); }

void IndexChecksum::FreeState::operator()(XXH3_state_s *unneeded) const { XXH3_freeState(unneeded); }

}  // namespace stsimage
