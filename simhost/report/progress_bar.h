// A line on the terminal that shows how far data has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

struct Progress {
    std::string label;
    uint64_t done = 0;
    std::optional<uint64_t> total;
    double seconds = 0;
};

// The line for a terminal of that many columns, never longer than one less. With a total: a bar, per cent, and the time
// that is left; without one: what is known.
std::string render_progress(const Progress &progress, size_t columns);

class ProgressBar {
public:
    // Draws nothing at all when not enabled.
    ProgressBar(std::string label, std::optional<uint64_t> total, bool enabled);
    // Takes the line away.
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    // Redraws ten times a second at most.
    void update(uint64_t done);

private:
    Progress m_progress;
    bool m_enabled;
    bool m_drawn = false;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_next;
};
