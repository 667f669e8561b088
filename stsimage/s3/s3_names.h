// The names of an LSU's images in a bucket. No image is read for it.
#pragma once

#include <string>
#include <utility>

#include "stsimage/name_list.h"
#include "stsimage/s3/name_table.h"

namespace stsimage::s3 {

// Clears what dead writers left, as far as it comes by it.
class S3Names : public NameList {
public:
    explicit S3Names(NameTable names) : table(std::move(names)) {}

    int32_t next(std::string_view &out_name) override;

private:
    int32_t read_page();
    void clear_up();

    NameTable table;
    NameTable::Page page;
    size_t given = 0;  // of the page
    bool has_begun = false;
};

}  // namespace stsimage::s3
