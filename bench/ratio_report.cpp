#include "bench/ratio_report.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr char bare_suffix[] = "/bare";

double median(std::vector<double> &times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

}  // namespace

void RatioReport::ReportRuns(const std::vector<Run> &runs) {
    std::vector<Run> aggregates;
    for (const Run &run : runs) {
        if (run.run_type == Run::RT_Aggregate)
            aggregates.push_back(run);
        else if (!run.error_occurred)
            m_times[run.run_name.function_name + (run.run_name.args.empty() ? "" : "/") + run.run_name.args].push_back(
                m_processor_time && run.run_name.time_type != "real_time" ? run.GetAdjustedCPUTime()
                                                                          : run.GetAdjustedRealTime());
    }
    if (!aggregates.empty())
        ConsoleReporter::ReportRuns(aggregates);
}

void RatioReport::Finalize() {
    ConsoleReporter::Finalize();
    std::printf("\n%-44s %10s  %-19s %10s %7s\n", "ns", "median", "least, most", "bare", "ratio");
    for (auto &[name, times] : m_times) {
        const double measured = median(times);
        std::printf("%-44s %10.1f  %9.1f %9.1f", name.c_str(), measured, times.front(), times.back());
        const auto bare = m_times.find(name + bare_suffix);
        if (bare != m_times.end()) {
            const double bare_median = median(bare->second);
            std::printf(" %10.1f %7.2f", bare_median, measured / bare_median);
        }
        std::printf("\n");
    }
}

int run_with_ratios(int argc, char **argv, bool processor_time) {
    std::vector<std::string> words(argv, argv + argc);
    words.insert(words.begin() + 1, {"--benchmark_repetitions=10", "--benchmark_enable_random_interleaving=true"});
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 2;
    RatioReport report(processor_time);
    benchmark::RunSpecifiedBenchmarks(&report);
    benchmark::Shutdown();
    return 0;
}
