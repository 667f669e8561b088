// What a run leaves behind besides what its processes share: how it ended, and how it went over time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simhost/load/growth.h"

// The run at one time. Counts are from the beginning on.
struct TimePoint {
    double seconds = 0;
    uint64_t operations = 0;
    uint64_t bytes_written = 0;
    uint64_t bytes_read = 0;
    uint64_t failures = 0;
    double p99_ns = 0;  // of the operations since the point before
    int64_t handles = 0;
    // Of all processes together.
    uint64_t descriptors = 0;
    uint64_t resident_bytes = 0;
    uint64_t heap_bytes = 0;
    uint64_t threads = 0;
};

// What one process used over time.
struct ProcessHistory {
    std::vector<Measurement> descriptors;
    std::vector<Measurement> threads;
    std::vector<Measurement> heap_bytes;
    std::vector<Measurement> resident_bytes;
};

struct LoadOutcome {
    std::string ended_by;  // "duration", "operations", "bytes", "broken promise", "interrupt", "hang", "death"
    int signal = 0;        // of an interrupt
    double seconds = 0;
    double processor_seconds = 0;
    uint64_t kills = 0;
    uint64_t deaths = 0;
    bool verified = false;
    std::vector<TimePoint> points;
    std::vector<ProcessHistory> histories;  // by process

    // Makes one out of two, of points and of measurements: the later point with the longer p99, the lesser measurement.
    void halve();
};
