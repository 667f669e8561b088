// What people see while a load runs: a line that is drawn again on a terminal, and a plain one every ten seconds elsewhere.
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

// Title and values, each in its column.
std::string live_titles();
std::string live_values(const TimePoint &before, const TimePoint &point, uint64_t found);
