#include "simhost/report/quantities.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <stdexcept>

std::string format_bytes(uint64_t bytes) {
    if (bytes < 1000)
        return fmt::format("{} B", bytes);
    static constexpr const char *units[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
    size_t unit = 0;
    double value = static_cast<double>(bytes) / 1000;
    // 999.95 would be printed as 1000.0
    while (value >= 999.95 && unit + 1 < std::size(units)) {
        value /= 1000;
        ++unit;
    }
    return fmt::format("{:.1f} {}", value, units[unit]);
}

std::string format_duration(double seconds) {
    if (seconds < 9.95e-6)
        return fmt::format("{:.1f} us", seconds * 1e6);
    if (seconds < 999.5e-6)
        return fmt::format("{:.0f} us", seconds * 1e6);
    if (seconds < 0.9995)
        return fmt::format("{:.1f} ms", seconds * 1e3);
    if (seconds < 99.995)
        return fmt::format("{:.2f} s", seconds);
    const auto whole = static_cast<uint64_t>(std::llround(seconds));
    return fmt::format("{}:{:02} min", whole / 60, whole % 60);
}

std::string format_rate(uint64_t bytes, double seconds) {
    if (seconds <= 0)
        return "-";
    return fmt::format("{:.1f} MB/s", static_cast<double>(bytes) / 1e6 / seconds);
}

uint64_t parse_byte_count(const std::string &text) {
    uint64_t number = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc())
        throw std::invalid_argument(fmt::format("'{}' is not a number of bytes", text));
    int shift = 0;
    if (rest != end) {
        switch (*rest) {
            case 'k':
            case 'K':
                shift = 10;
                break;
            case 'm':
            case 'M':
                shift = 20;
                break;
            case 'g':
            case 'G':
                shift = 30;
                break;
            default:
                shift = -1;
        }
        if (shift < 0 || rest + 1 != end)
            throw std::invalid_argument(fmt::format("'{}' is not a number of bytes (units are K, M and G)", text));
    }
    if (number > UINT64_MAX >> shift)
        throw std::invalid_argument(fmt::format("'{}' is more than 64 bits hold", text));
    return number << shift;
}
