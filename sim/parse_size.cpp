#include "sim/parse_size.h"

#include <cstdlib>
#include <cstring>

namespace {

uint64_t multiplier(char unit) {
    switch (unit) {
        case 'K':
        case 'k':
            return uint64_t{1} << 10;
        case 'M':
        case 'm':
            return uint64_t{1} << 20;
        case 'G':
        case 'g':
            return uint64_t{1} << 30;
        case 'T':
        case 't':
            return uint64_t{1} << 40;
        case 'P':
        case 'p':
            return uint64_t{1} << 50;
        default:
            return 1;
    }
}

}  // namespace

uint64_t parse_size(const char *text) {
    const size_t length = std::strlen(text);
    const char unit = length >= 2 ? text[length - 2] : '\0';
    // The cut to 32 bits is part of the format: a size of 3000000000 is negative.
    const auto number = static_cast<int32_t>(std::strtol(text, nullptr, 10));
    return static_cast<uint64_t>(int64_t{number}) * multiplier(unit);
}
