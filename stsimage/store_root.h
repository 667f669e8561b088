// All that lies under one root of images, for those who look after it. The calls on images do without.
//
// The statuses and their texts are as in stores (store.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stsimage/leftover.h"

namespace stsimage {

class StoreRoot {
public:
    virtual ~StoreRoot() = default;

    // The texts that lead to its LSUs, in ascending order.
    virtual int32_t list_lsus(std::vector<std::string> &out_lsus) = 0;

    // Finds what is noted in an LSU and belongs to no image there. What nobody needs any more is removed when asked, and told
    // of as removed or, where that failed, as what is still there. What is in use never is, whichever host uses it; a store
    // that cannot see who lives goes by time, and takes what is too young for in use. Any number of hosts may do so at once,
    // while images are written and read. No lock is held while the listener is called.
    virtual int32_t find_leftovers(const std::string &lsu, Disposal disposal, const LeftoverListener &listener) = 0;

    // The same for what no LSU has a note of: parts that were written when their writer had been given up, say.
    virtual int32_t find_orphans(Disposal disposal, const LeftoverListener &listener) = 0;
};

}  // namespace stsimage
