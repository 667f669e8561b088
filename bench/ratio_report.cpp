#include "bench/ratio_report.h"

#include <cstdio>

namespace {

constexpr char bare_suffix[] = "/bare";

}  // namespace

void RatioReport::ReportRuns(const std::vector<Run> &runs) {
    for (const Run &run : runs)
        if (run.aggregate_name == "median" && !run.error_occurred)
            m_medians[run.run_name.function_name] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
}

void RatioReport::Finalize() {
    ConsoleReporter::Finalize();
    std::printf("\n%-44s %12s %12s %7s\n", "median of the repetitions", "ns", "bare ns", "ratio");
    for (const auto &[name, time] : m_medians) {
        const auto bare = m_medians.find(name + bare_suffix);
        if (bare != m_medians.end())
            std::printf("%-44s %12.1f %12.1f %7.2f\n", name.c_str(), time, bare->second, time / bare->second);
    }
}

int run_with_ratios(int argc, char **argv) {
    std::vector<std::string> words(argv, argv + argc);
    words.insert(words.begin() + 1, {"--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true",
                                     "--benchmark_display_aggregates_only=true"});
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 2;
    RatioReport report;
    benchmark::RunSpecifiedBenchmarks(&report);
    benchmark::Shutdown();
    return 0;
}
