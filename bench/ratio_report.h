// A console report that ends with the medians of all benchmarks, and with ratios of measured to bare calls.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// Prints what the console reporter prints, and at the end a table: for each benchmark its median with the least and the most
// of its runs, and, where there are benchmarks NAME and NAME/bare, the ratio of their medians. Times are real time, or the
// processor's for benchmarks that do not ask for real time, which other work on the machine does not swell.
class RatioReport : public benchmark::ConsoleReporter {
public:
    explicit RatioReport(bool processor_time) : m_processor_time(processor_time) {}

    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

private:
    bool m_processor_time;
    std::map<std::string, std::vector<double>> m_times;  // nanoseconds, by name
};

// Runs the registered benchmarks in ten interleaved repetitions and reports them so. Further arguments are Google
// Benchmark's. Returns the exit status.
int run_with_ratios(int argc, char **argv, bool processor_time = false);
