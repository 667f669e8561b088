#include "filter/rules/quantity.h"

#include <charconv>
#include <initializer_list>

namespace filter {

namespace {

struct Unit {
    const char *name;
    uint64_t factor;
};

// From the largest, so that the first that divides a number is the one to tell it in.
constexpr Unit size_units[] = {{"P", 1ULL << 50}, {"T", 1ULL << 40}, {"G", 1ULL << 30},
                               {"M", 1ULL << 20}, {"K", 1ULL << 10}, {"", 1}};
constexpr Unit duration_units[] = {{"d", 86400000000000}, {"h", 3600000000000}, {"m", 60000000000}, {"s", 1000000000},
                                   {"ms", 1000000},       {"us", 1000},         {"ns", 1}};

// The number that text begins with, decimals too, times the factor; exact, cut to a whole number.
std::optional<uint64_t> times(std::string_view number, uint64_t factor) {
    const size_t point = number.find('.');
    const std::string_view whole = number.substr(0, point);
    const auto value = parse_number(whole);
    if (!value || (point != std::string_view::npos && (factor == 1 || whole.substr(0, 2) == "0x")))
        return std::nullopt;
    __extension__ unsigned __int128 total = *value;
    total *= factor;
    if (point != std::string_view::npos) {
        const std::string_view decimals = number.substr(point + 1);
        if (decimals.empty() || decimals.size() > 9)
            return std::nullopt;
        uint64_t part = 0;
        uint64_t scale = 1;
        for (const char digit : decimals) {
            if (digit < '0' || digit > '9')
                return std::nullopt;
            part = part * 10 + static_cast<uint64_t>(digit - '0');
            scale *= 10;
        }
        __extension__ unsigned __int128 more = part;
        total += more * factor / scale;
    }
    if (total > UINT64_MAX)
        return std::nullopt;
    return static_cast<uint64_t>(total);
}

bool ends_with(std::string_view text, std::string_view ending) {
    return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

std::string text_in(uint64_t value, const Unit *begin, const Unit *end) {
    for (const Unit *unit = begin; unit != end; ++unit)
        if (value % unit->factor == 0 && (value != 0 || unit + 1 == end))
            return std::to_string(value / unit->factor) + unit->name;
    return std::to_string(value);
}

}  // namespace

std::optional<uint64_t> parse_number(std::string_view text) {
    const bool hexadecimal = text.substr(0, 2) == "0x";
    const char *begin = text.data() + (hexadecimal ? 2 : 0);
    const char *end = text.data() + text.size();
    uint64_t value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, hexadecimal ? 16 : 10);
    if (begin == end || error != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

std::optional<uint64_t> parse_size(std::string_view text) {
    if (const auto plain = parse_number(text))
        return plain;
    std::string_view number = text;
    for (const char *ending : {"iB", "B"})
        if (ends_with(number, ending)) {
            number.remove_suffix(std::string_view(ending).size());
            break;
        }
    for (const Unit &unit : size_units)
        if (*unit.name != '\0' && ends_with(number, unit.name))
            return times(number.substr(0, number.size() - 1), unit.factor);
    return ends_with(text, "iB") ? std::nullopt : parse_number(number);
}

std::optional<uint64_t> parse_duration(std::string_view text) {
    if (text == "0")
        return 0;
    for (const char *name : {"ns", "us", "ms", "s", "m", "h", "d"})
        if (ends_with(text, name))
            for (const Unit &unit : duration_units)
                if (name == std::string_view(unit.name))
                    return times(text.substr(0, text.size() - std::string_view(name).size()), unit.factor);
    return std::nullopt;
}

std::string size_text(uint64_t bytes) { return text_in(bytes, std::begin(size_units), std::end(size_units)); }

std::string duration_text(uint64_t nanoseconds) {
    return nanoseconds == 0 ? "0s" : text_in(nanoseconds, std::begin(duration_units), std::end(duration_units));
}

}  // namespace filter
