#include "simhost/report/progress_bar.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "simhost/report/binary_size.h"
#include "simhost/report/quantities.h"
#include "simhost/report/terminal.h"

namespace {

constexpr std::chrono::milliseconds redraw_interval(100);
constexpr size_t widest_bar = 40;
constexpr size_t narrowest_bar = 8;

}  // namespace

std::string render_progress(const Progress &progress, size_t columns) {
    const size_t room = columns > 0 ? columns - 1 : 0;
    const std::string rate = format_rate(progress.done, progress.seconds);
    std::string line;
    if (!progress.total || *progress.total == 0) {
        line = fmt::format("{}  {}  {}", progress.label, binary_size(progress.done), rate);
    } else {
        // A file may grow while it is read.
        const double share = std::min(1.0, static_cast<double>(progress.done) / static_cast<double>(*progress.total));
        std::string tail = fmt::format("{:3.0f}%  {} of {}  {}", share * 100, binary_size(progress.done),
                                       binary_size(*progress.total), rate);
        if (share > 0 && progress.seconds > 0)
            tail += fmt::format("  {} left", format_duration(progress.seconds / share - progress.seconds));
        const size_t text = progress.label.size() + tail.size() + 6;
        if (text + narrowest_bar > room) {
            line = progress.label + "  " + tail;
        } else {
            const size_t width = std::min(widest_bar, room - text);
            const auto full = static_cast<size_t>(share * static_cast<double>(width));
            line = fmt::format("{}  [{}{}]  {}", progress.label, std::string(full, '#'), std::string(width - full, '.'),
                               tail);
        }
    }
    return line.substr(0, room);
}

ProgressBar::ProgressBar(std::string label, std::optional<uint64_t> total, bool enabled)
    : m_enabled(enabled), m_start(std::chrono::steady_clock::now()), m_next(m_start) {
    m_progress.label = std::move(label);
    m_progress.total = total;
}

ProgressBar::~ProgressBar() {
    if (m_drawn) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
    }
}

void ProgressBar::update(uint64_t done) {
    if (!m_enabled)
        return;
    const auto now = std::chrono::steady_clock::now();
    if (now < m_next)
        return;
    m_next = now + redraw_interval;
    m_progress.done = done;
    m_progress.seconds = std::chrono::duration<double>(now - m_start).count();
    fmt::print(stderr, "\r{}\033[K", render_progress(m_progress, terminal_columns()));
    std::fflush(stderr);
    m_drawn = true;
}
