// The outcome of a run as one JSON value: what "load --json" answers with, and what every other report is made of.
#pragma once

#include <string>

#include "simhost/load/load_outcome.h"
#include "simhost/load/load_target.h"
#include "simhost/load/run_state.h"
#include "simhost/report/report.h"

// Judges growth as well: what grows is added to what was found.
Json load_document(RunState &run, const LoadTarget &target, const LoadOutcome &outcome);

// "p99" of a share of 0.99, and so on, in the order of reports.
struct LatencyShare {
    const char *key;
    double share;
};
constexpr LatencyShare latency_shares[] = {{"p50", 0.5}, {"p90", 0.9}, {"p99", 0.99}, {"p99.9", 0.999}};
