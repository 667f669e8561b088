// A list of an LSU's images that is open.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "stsimage/name_list.h"
#include "stsimage/store.h"
#include "stspi/stsimg.h"

namespace stsimage {

class ImageList {
public:
    static int32_t open(Store &store, std::shared_ptr<ImageList> &out_list);

    int32_t next(sts_image_definition_t &out_definition);

private:
    std::mutex mutex;
    std::unique_ptr<NameList> names;
};

}  // namespace stsimage
