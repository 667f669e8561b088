// All that lies under one root in a pool.
//
// Images of all LSUs have their parts side by side, each under a number that one LSU's table has a note of: from before the first
// part is written until the last one is removed. What nobody has a note of came too late: an operation that was under way when
// its writer was given up for dead, and its draft cleared away.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "stsimage/rados/name_table.h"
#include "stsimage/store_root.h"

namespace stsimage {

class RadosRoot : public StoreRoot {
public:
    static int32_t open(std::string_view location, std::unique_ptr<StoreRoot> &out_root);

    explicit RadosRoot(std::shared_ptr<Pool> root_pool) : pool(std::move(root_pool)) {}

    int32_t list_lsus(std::vector<std::string> &out_lsus) override;
    int32_t find_leftovers(const std::string &lsu, Disposal disposal, const LeftoverListener &listener) override;
    int32_t find_orphans(Disposal disposal, const LeftoverListener &listener) override;

private:
    using PartsById = std::map<std::string, std::set<std::string>>;

    int forget_noted(const std::vector<std::string> &lsus, PartsById &parts);
    int find_parts_without_note(PartsById &out_parts);

    std::shared_ptr<Pool> pool;
};

}  // namespace stsimage
