// What stands behind an image handle.
#pragma once

#include <cstdint>

#include "stspi/stsimg.h"

namespace stsimage {

class Image {
public:
    virtual ~Image() = default;

    // The calls of the public header, with pointers that are not null. A count is written on success only.
    virtual int32_t read(void *buffer, uint64_t length, uint64_t offset, uint64_t &out_bytes_read) = 0;
    virtual int32_t write(const void *data, uint64_t length, uint64_t offset) = 0;
    virtual int32_t describe(sts_image_info_t &out_info) = 0;

    // Ends it; the other calls are refused from then on.
    virtual int32_t close() = 0;
};

}  // namespace stsimage
