#include "conformance/report/hex_diff.h"

#include <fmt/format.h>

#include <algorithm>

namespace conformance {

namespace {

constexpr size_t row_size = 16;
constexpr size_t most_memory_rows = 6;

std::string row(const unsigned char *bytes, const unsigned char *other, size_t begin, size_t end) {
    std::string hex;
    std::string text;
    for (size_t i = begin; i < end; ++i) {
        hex += fmt::format("{}{:02x}", bytes[i] == other[i] ? ' ' : '*', bytes[i]);
        text += bytes[i] >= 0x20 && bytes[i] < 0x7f ? static_cast<char>(bytes[i]) : '.';
    }
    return fmt::format("{:<48}  {}", hex, text);
}

}  // namespace

std::string hex_diff(const unsigned char *expected, const unsigned char *got, size_t size) {
    std::string out;
    size_t rows = 0;
    size_t differing = 0;
    for (size_t begin = 0; begin < size; begin += row_size) {
        const size_t end = std::min(size, begin + row_size);
        if (std::equal(expected + begin, expected + end, got + begin))
            continue;
        for (size_t i = begin; i < end; ++i)
            differing += expected[i] != got[i] ? 1U : 0U;
        if (++rows > most_memory_rows)
            continue;
        out += fmt::format("{:5} expected {}\n      got      {}\n", begin, row(expected, got, begin, end),
                           row(got, expected, begin, end));
    }
    return out + fmt::format("{} of {} bytes differ{}", differing, size,
                             rows > most_memory_rows ? ", the first lines are shown" : "");
}

}  // namespace conformance
