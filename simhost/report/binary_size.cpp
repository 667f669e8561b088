#include "simhost/report/binary_size.h"

#include <fmt/format.h>

#include <iterator>

std::string binary_size(uint64_t bytes) {
    if (bytes < 1024)
        return fmt::format("{} byte{}", bytes, bytes == 1 ? "" : "s");
    static constexpr const char *units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    size_t unit = 0;
    uint64_t scale = 1024;
    // 1023.95 would be printed as 1024.0
    while (unit + 1 < std::size(units) && static_cast<double>(bytes) / static_cast<double>(scale) >= 1023.95) {
        scale *= 1024;
        ++unit;
    }
    if (bytes % scale == 0)
        return fmt::format("{} {}", bytes / scale, units[unit]);
    return fmt::format("{:.1f} {}", static_cast<double>(bytes) / static_cast<double>(scale), units[unit]);
}
