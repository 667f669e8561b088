// The names of an LSU's images in a pool. No image is read for it.
#pragma once

#include <string>

#include "stsimage/name_list.h"
#include "stsimage/rados/name_table.h"

namespace stsimage {

// Clears what dead writers left, as far as it comes by it.
class RadosNames : public NameList {
public:
    explicit RadosNames(NameTable names) : table(std::move(names)) {}

    int32_t next(std::string_view &out_name) override;

private:
    int32_t read_page();
    void clear_up();

    NameTable table;
    NameTable::Page page;
    size_t given = 0;  // of the page
    bool is_clearing_silent = false;
    std::string after;
    unsigned shard = 0;
    bool shard_ends = false;
};

}  // namespace stsimage
