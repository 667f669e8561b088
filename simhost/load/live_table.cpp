#include "simhost/load/live_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "simhost/report/binary_size.h"
#include "simhost/report/quantities.h"

namespace {

constexpr char layout[] = "{:>10} {:>10} {:>10} {:>12} {:>12} {:>9} {:>8} {:>7} {:>7} {:>5} {:>10}";
constexpr double line_seconds = 10;

}  // namespace

std::string live_titles() {
    return fmt::format(layout, "TIME", "OPERATIONS", "A SECOND", "WRITTEN/s", "READ/s", "P99", "REFUSALS", "BROKEN",
                       "HANDLES", "FDS", "RESIDENT");
}

std::string live_values(const TimePoint &before, const TimePoint &point, uint64_t found) {
    const double seconds = std::max(point.seconds - before.seconds, 1e-9);
    return fmt::format(layout, format_duration(point.seconds), point.operations,
                       fmt::format("{:.0f}", static_cast<double>(point.operations - before.operations) / seconds),
                       format_rate(point.bytes_written - before.bytes_written, seconds),
                       format_rate(point.bytes_read - before.bytes_read, seconds), format_duration(point.p99_ns / 1e9),
                       point.failures, found, point.handles, point.descriptors, binary_size(point.resident_bytes));
}

LiveTable::~LiveTable() {
    if (m_on_terminal && m_drawn)
        std::fputs("\r\033[K\033[A\033[K", stderr);
}

void LiveTable::show(const TimePoint &point, uint64_t found) {
    if (m_on_terminal) {
        fmt::print(stderr, "{}{}\n{}\033[K", m_drawn ? "\r\033[A" : "", live_titles(),
                   live_values(m_before, point, found));
    } else {
        if (point.seconds < m_next_line)
            return;
        m_next_line += line_seconds;
        if (!m_drawn)
            fmt::print(stderr, "{}\n", live_titles());
        fmt::print(stderr, "{}\n", live_values(m_before, point, found));
    }
    std::fflush(stderr);
    m_drawn = true;
    m_before = point;
}
