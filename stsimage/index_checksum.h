// The checksum of an index, which may come in pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "stsimage/image_format.h"

struct XXH3_state_s;

namespace stsimage {

class IndexChecksum {
public:
    explicit IndexChecksum(uint64_t seed);
    void add(const IndexEntry *entries, size_t count);
    uint64_t value() const;

private:
    struct FreeState {
        void operator()(XXH3_state_s *unneeded) const;
    };

    std::unique_ptr<XXH3_state_s, FreeState> state;
};

}  // namespace stsimage
