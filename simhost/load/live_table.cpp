#include "simhost/load/live_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "simhost/report/binary_size.h"
#include "simhost/report/quantities.h"
#include "simhost/report/terminal.h"

namespace {

constexpr double line_seconds = 10;

// What a column is made of.
struct LiveState {
    const TimePoint &before;
    const TimePoint &point;
    uint64_t found;

    double seconds() const { return std::max(point.seconds - before.seconds, 1e-9); }
    uint64_t written() const { return point.bytes_written - before.bytes_written; }
    uint64_t read() const { return point.bytes_read - before.bytes_read; }
    std::string rate() const {
        return fmt::format("{:.0f}", static_cast<double>(point.operations - before.operations) / seconds());
    }
};

struct LiveColumn {
    const char *title;
    size_t width;
    std::string (*text)(const LiveState &);
};

const std::vector<LiveColumn> &wide_live_columns() {
    static const std::vector<LiveColumn> columns = {
        {"TIME", 9, [](const LiveState &p) { return format_duration(p.point.seconds); }},
        {"OPERATIONS", 10, [](const LiveState &p) { return std::to_string(p.point.operations); }},
        {"A SECOND", 8, [](const LiveState &p) { return p.rate(); }},
        {"WRITTEN/s", 12, [](const LiveState &p) { return format_rate(p.written(), p.seconds()); }},
        {"READ/s", 12, [](const LiveState &p) { return format_rate(p.read(), p.seconds()); }},
        {"P99", 8, [](const LiveState &p) { return format_duration(p.point.p99_ns / 1e9); }},
        {"REFUSALS", 8, [](const LiveState &p) { return std::to_string(p.point.failures); }},
        {"BROKEN", 6, [](const LiveState &p) { return std::to_string(p.found); }},
        {"HANDLES", 7, [](const LiveState &p) { return std::to_string(p.point.handles); }},
        {"FDS", 5, [](const LiveState &p) { return std::to_string(p.point.descriptors); }},
        {"RESIDENT", 10, [](const LiveState &p) { return binary_size(p.point.resident_bytes); }},
    };
    return columns;
}

const std::vector<LiveColumn> &narrow_live_columns() {
    static const std::vector<LiveColumn> columns = {
        {"TIME", 8, wide_live_columns()[0].text},
        {"OPS", 8, wide_live_columns()[1].text},
        {"OPS/s", 6, wide_live_columns()[2].text},
        {"MOVED/s", 11, [](const LiveState &p) { return format_rate(p.written() + p.read(), p.seconds()); }},
        {"P99", 8, wide_live_columns()[5].text},
        {"REFUSED", 7, wide_live_columns()[6].text},
        {"BROKEN", 6, wide_live_columns()[7].text},
        {"OPEN", 4, wide_live_columns()[8].text},
        {"FDS", 4, wide_live_columns()[9].text},
        {"RSS", 6, [](const LiveState &p) { return fmt::format("{}M", p.point.resident_bytes >> 20); }},
    };
    return columns;
}

const std::vector<LiveColumn> &live_layout(size_t columns) {
    size_t width = 0;
    for (const LiveColumn &column : wide_live_columns())
        width += column.width + 1;
    // The last place of a line stays empty: some terminals begin a new one there.
    return width <= columns ? wide_live_columns() : narrow_live_columns();
}

template <class Text>
std::string live_line(size_t columns, Text text) {
    std::string made;
    for (const LiveColumn &column : live_layout(columns))
        made += fmt::format("{}{:>{}}", made.empty() ? "" : " ", text(column), column.width);
    return made.substr(0, columns > 0 ? columns - 1 : 0);
}

}  // namespace

std::string live_titles(size_t columns) {
    return live_line(columns, [](const LiveColumn &column) { return std::string(column.title); });
}

std::string live_values(const TimePoint &before, const TimePoint &point, uint64_t found, size_t columns) {
    return live_line(columns, [&](const LiveColumn &column) { return column.text({before, point, found}); });
}

LiveTable::~LiveTable() {
    if (m_on_terminal && m_drawn)
        std::fputs("\r\033[K\033[A\033[K", stderr);
}

void LiveTable::show(const TimePoint &point, uint64_t found) {
    if (m_on_terminal) {
        const size_t columns = terminal_columns();
        fmt::print(stderr, "{}{}\033[K\n{}\033[K", m_drawn ? "\r\033[A" : "\r", live_titles(columns),
                   live_values(m_before, point, found, columns));
    } else {
        constexpr size_t as_wide_as_it_takes = 200;
        if (point.seconds < m_next_line)
            return;
        m_next_line += line_seconds;
        if (!m_drawn)
            fmt::print(stderr, "{}\n", live_titles(as_wide_as_it_takes));
        fmt::print(stderr, "{}\n", live_values(m_before, point, found, as_wide_as_it_takes));
    }
    std::fflush(stderr);
    m_drawn = true;
    m_before = point;
}
