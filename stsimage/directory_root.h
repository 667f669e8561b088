// The root whose LSUs are directories.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stsimage/store_root.h"

namespace stsimage {

class DirectoryRoot : public StoreRoot {
public:
    // Every directory below the root that no link leads to is one, and the root itself when something of an LSU lies in it.
    int32_t list_lsus(std::vector<std::string> &out_lsus) override;

    int32_t find_leftovers(const std::string &lsu, Disposal disposal, const LeftoverListener &listener) override;

    // There are none: an LSU's unfinished files lie in its directory.
    int32_t find_orphans(Disposal, const LeftoverListener &) override { return 0; }
};

}  // namespace stsimage
