// Plays histories on several processes at once until something is found.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "conformance/explore/history_process.h"

namespace conformance {

enum : unsigned { MOST_JOBS = 64 };

struct ExplorationPlan {
    uint64_t seed = 1;
    uint64_t first = 0;      // number of the first history
    uint64_t histories = 0;  // how many at most; 0: as time allows
    std::chrono::milliseconds time{60000};
    size_t most_calls = 40;
    unsigned jobs = 1;                            // at most MOST_JOBS
    std::chrono::milliseconds time_limit{10000};  // of one history, as ProcessTime counts it
};

struct ExplorationResult {
    uint64_t histories = 0;
    uint64_t calls = 0;
    double seconds = 0;
    std::vector<unsigned> reached;   // by part of the model
    std::optional<uint64_t> number;  // of the first history, in their order, in which something was found
    HistoryFinding finding;          // as it was seen then
};

// base: an empty directory. Which history is told does not depend on the number of jobs. stopped is asked now and then.
// other: what the plug-in is compared with; null for the model.
ExplorationResult explore(PluginCaller &caller, PluginCaller *other, const ExplorationPlan &plan,
                          const std::string &base, const std::string &array_name, const std::function<bool()> &stopped);

// Whether a history's memory is watched.
bool watches_memory(const History &history, uint64_t number);

// A name that no other exploration on this machine uses at the same time; all are of one length.
std::string own_name(unsigned job);

}  // namespace conformance
