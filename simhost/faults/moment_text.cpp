#include "simhost/faults/moment_text.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ctime>

namespace {

constexpr uint64_t second_ns = 1000000000;

std::tm local_time(uint64_t moment) { return fmt::localtime(static_cast<time_t>(moment / second_ns)); }

}  // namespace

std::string moment_text(uint64_t moment, uint64_t now) {
    if (moment == 0)
        return "";
    const std::tm time = local_time(moment);
    const std::tm today = local_time(now);
    const bool is_today = time.tm_year == today.tm_year && time.tm_yday == today.tm_yday;
    return fmt::format("{}{:%H:%M:%S}.{:03}", is_today ? "" : fmt::format("{:%Y-%m-%d} ", time), time,
                       moment / 1000000 % 1000);
}

std::string utc_moment_text(uint64_t moment) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(static_cast<time_t>(moment / second_ns)),
                       moment / 1000000 % 1000);
}
