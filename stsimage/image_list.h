// A list of an LSU's images: the names come straight from the directory, however many there are.
#pragma once

#include <memory>
#include <mutex>

#include "stsimage/lsu_directory.h"
#include "stspi/stsimg.h"

namespace stsimage {

class ImageList {
public:
    static int32_t open(LsuDirectory lsu, std::shared_ptr<ImageList> &out_list);

    int32_t next(sts_image_definition_t &out_definition);

private:
    int32_t read_names();

    std::mutex mutex;
    LsuDirectory lsu;
    std::unique_ptr<char[]> names;  // entries as the kernel hands them over
    size_t filled = 0;              // bytes of them
    size_t place = 0;               // of the next entry
};

}  // namespace stsimage
