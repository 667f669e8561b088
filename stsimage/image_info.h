// The public record about an image.
#pragma once

#include <cstring>
#include <string_view>

#include "stspi/stsimg.h"

namespace stsimage {

// The name fits: it has been checked.
inline void fill_info(std::string_view name, uint64_t size, int64_t creation_time, sts_image_info_t &out_info) {
    std::memset(&out_info, 0, sizeof out_info);
    name.copy(out_info.name, sizeof out_info.name - 1);
    out_info.size_bytes = size;
    out_info.creation_time = creation_time;
}

}  // namespace stsimage
