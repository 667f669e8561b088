#include "filter/pause.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "filter/ledger/wall_clock.h"

namespace filter {

void wait_until(uint64_t monotonic) {
    const timespec time = {static_cast<time_t>(monotonic / 1000000000), static_cast<long>(monotonic % 1000000000)};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) == EINTR)
        continue;
}

void wait_for(uint64_t nanoseconds) { wait_until(monotonic_ns() + nanoseconds); }

void wait_for_file(const std::string &path) {
    constexpr uint64_t step = 20000000;
    while (path.empty() || access(path.c_str(), F_OK) != 0)
        wait_for(step);
}

}  // namespace filter
