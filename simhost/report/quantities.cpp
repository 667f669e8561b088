#include "simhost/report/quantities.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <stdexcept>

#include "simhost/report/binary_size.h"

std::string bytes_in_words(uint64_t bytes) {
    return bytes < 1024 ? binary_size(bytes) : fmt::format("{} bytes ({})", bytes, binary_size(bytes));
}

std::string bytes_in_table(uint64_t bytes) {
    return bytes < 1024 ? std::to_string(bytes) : fmt::format("{} ({})", bytes, binary_size(bytes));
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
    return fmt::format("{:.1f} MiB/s", static_cast<double>(bytes) / (1 << 20) / seconds);
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
