// How long something took, many times: counts by time, exact to two percent, in memory that all processes see.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "simhost/load/shared_arena.h"

// What histograms tell, added up.
struct LatencySummary {
    uint64_t count = 0;
    double sum_ns = 0;
    uint64_t max_ns = 0;
    std::vector<uint64_t> counts;  // by class of time, the classes of LatencyHistogram; empty: none

    void add(const LatencySummary &other);
    // What was counted since an earlier summary of the same histograms. The longest time stays that of all.
    LatencySummary since(const LatencySummary &earlier) const;
    // The time that this share of all did not exceed, in nanoseconds; 0 when there is none.
    double at(double share) const;
    double mean_ns() const { return count == 0 ? 0 : sum_ns / static_cast<double>(count); }
    // Where the share's own uncertainty puts it, with 95 % confidence.
    std::pair<double, double> interval(double share) const;
};

class LatencyHistogram {
public:
    explicit LatencyHistogram(SharedArena &arena);
    ~LatencyHistogram();
    LatencyHistogram(LatencyHistogram &&) noexcept;
    LatencyHistogram &operator=(LatencyHistogram &&) = delete;
    LatencyHistogram(const LatencyHistogram &) = delete;
    LatencyHistogram &operator=(const LatencyHistogram &) = delete;

    void add(uint64_t nanoseconds);
    LatencySummary summary() const;

    // Upper end of a class, in nanoseconds.
    static double class_end(size_t number);

private:
    struct Shared;
    struct Classes;
    std::unique_ptr<Classes> m_classes;
    Shared *m_shared;
};
