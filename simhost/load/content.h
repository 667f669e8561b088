// What an image holds: a generation of an image of this run. A copy holds what its source held.
#pragma once

#include <cstdint>

struct Content {
    uint64_t image = 0;       // number of the image that it was written as
    uint64_t generation = 0;  // 0: nothing
    uint64_t size = 0;        // bytes

    friend bool operator==(const Content &a, const Content &b) {
        return a.image == b.image && a.generation == b.generation && a.size == b.size;
    }
};
