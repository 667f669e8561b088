// Sizes, against a calculation with more bits.
#include <limits>

#include "sim/parse_size.h"
#include "tests/fuzz/input.h"

namespace {

// The leading number as a 64-bit integer, the nearest one that is left when it does not fit.
int64_t leading_number(const std::string &text) {
    size_t position = text.find_first_not_of(" \t\n\v\f\r");
    if (position == std::string::npos)
        return 0;
    const bool is_negative = text[position] == '-';
    if (is_negative || text[position] == '+')
        ++position;
    __int128 number = 0;
    constexpr __int128 most = std::numeric_limits<int64_t>::max();
    for (; position < text.size() && text[position] >= '0' && text[position] <= '9'; ++position)
        number = number > most ? number : number * 10 + (text[position] - '0');
    if (is_negative)
        return number > most ? std::numeric_limits<int64_t>::min() : -static_cast<int64_t>(number);
    return static_cast<int64_t>(number > most ? most : number);
}

int exponent(char unit) {
    const std::string units = "KMGTP";
    const size_t upper = units.find(unit >= 'a' && unit <= 'z' ? static_cast<char>(unit - 'a' + 'A') : unit);
    return upper == std::string::npos ? 0 : static_cast<int>(upper + 1) * 10;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = c_string_of(data, size);
    const int shift = text.size() >= 2 ? exponent(text[text.size() - 2]) : 0;
    const auto low = static_cast<uint32_t>(leading_number(text));
    const uint64_t widened = low >= 0x80000000U ? low | 0xffffffff00000000U : low;
    EXPECT(parse_size(text.c_str()) == widened << shift);
    return 0;
}
