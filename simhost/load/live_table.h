// What people see while a load runs: two lines that are drawn again on a terminal, and a plain one every ten seconds elsewhere.
#pragma once

#include <string>

#include "simhost/load/load_outcome.h"

class LiveTable {
public:
    explicit LiveTable(bool on_terminal) : m_on_terminal(on_terminal) {}
    // Takes the table away.
    ~LiveTable();
    LiveTable(const LiveTable &) = delete;
    LiveTable &operator=(const LiveTable &) = delete;

    void show(const TimePoint &point, uint64_t found);

private:
    bool m_on_terminal;
    bool m_drawn = false;
    double m_next_line = 10;
    TimePoint m_before;
};

// Titles and values, each in its column, and no wider than columns: on a narrow terminal bytes that were written and read stand
// in one column, under shorter titles.
std::string live_titles(size_t columns);
std::string live_values(const TimePoint &before, const TimePoint &point, uint64_t found, size_t columns);
