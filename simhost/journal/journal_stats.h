// Calls, statuses and latencies of a journal, by entry point.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "journal/events.h"

// Latencies are exact: every one is kept.
struct Latencies {
    std::vector<uint64_t> nanoseconds;  // in order, once sort has been called

    void sort();
    // The least latency that at least `share` of the calls did not exceed; 0 without calls. share is 0 to 1.
    uint64_t at(double share) const;
};

struct EntryPointStats {
    uint64_t calls = 0;
    uint64_t faults = 0;
    uint64_t running = 0;
    std::map<int32_t, uint64_t> statuses;
    Latencies latencies;
};

struct JournalStats {
    std::map<std::string, EntryPointStats> entry_points;
    uint64_t calls = 0;
    uint64_t records = 0;
    uint64_t messages = 0;
    uint64_t processes = 0;
    uint64_t threads = 0;
    uint64_t first_ns = 0;
    uint64_t last_ns = 0;
};

// Reads all events.
JournalStats collect_stats(journal::Events &events);
