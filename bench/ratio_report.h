// A console report that also compares benchmarks with their bare counterparts.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// Prints the usual table, then for every benchmark NAME that has a counterpart "NAME/bare" one line with the ratio of
// their times: the median over the repetitions of the run. Run with repetitions and random interleaving, so that a drift
// of the machine meets both sides.
class RatioReport : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

private:
    std::map<std::string, double> m_medians;  // nanoseconds, by name
};

// Runs all registered benchmarks with that report; the arguments are Google Benchmark's, with five interleaved
// repetitions unless they say otherwise. Returns the exit status for main.
int run_with_ratios(int argc, char **argv);
