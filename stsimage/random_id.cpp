#include "stsimage/random_id.h"

#include <sys/random.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>

namespace stsimage {

bool make_random_id(std::string &out_id) {
    uint64_t random[2];
    if (getrandom(random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
        return false;
    char text[33];
    std::snprintf(text, sizeof text, "%016" PRIx64 "%016" PRIx64, random[0], random[1]);
    out_id = text;
    return true;
}

bool is_random_id(std::string_view text) {
    return text.size() == 32 && text.find_first_not_of("0123456789abcdef") == text.npos;
}

}  // namespace stsimage
