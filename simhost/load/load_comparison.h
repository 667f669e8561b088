// Two runs against each other: what differs, and by how much for certain.
#pragma once

#include <string>
#include <vector>

#include "simhost/report/report.h"

struct LoadDifference {
    std::string what;  // "operations a second", "stspi_open_image p99"
    double before;
    double after;
    double low;  // relative change with 95 % confidence: 0.1 is ten percent more
    double high;
    bool more_is_better;
    bool worse = false;  // beyond the bound, for certain
};

// Both are results of "load --json". bound: relative, 0.1. Throws UsageError when one is not such a result.
std::vector<LoadDifference> compare_loads(const Json &before, const Json &after, double bound);
