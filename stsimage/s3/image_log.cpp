#include "stsimage/s3/image_log.h"

#include <cinttypes>
#include <cstdio>

namespace stsimage::s3 {

std::string part_key(const std::string &id, uint64_t part) {
    char number[17];
    std::snprintf(number, sizeof number, "%012" PRIx64, part);
    return parts_of(id) + number;
}

}  // namespace stsimage::s3
