#include "simhost/load/load_comparison.h"

#include <gtest/gtest.h>

#include <cmath>

#include "simhost/load/load_document.h"

namespace {

// A run whose operations a second were these in each of its seconds.
Json run_of(const std::vector<double> &rates, const Json &latencies = Json::object()) {
    Json seconds = {0.0};
    Json counts = {0.0};
    double total = 0;
    for (size_t i = 0; i < rates.size(); ++i) {
        seconds.push_back(static_cast<double>(i + 1));
        counts.push_back(total += rates[i]);
    }
    const Json zeros = std::vector<double>(rates.size() + 1, 0);
    return {{"series", {{"seconds", seconds}, {"operations", counts}, {"bytes_written", zeros}, {"bytes_read", zeros}}},
            {"latencies", {{"operations", Json::object()}, {"entry_points", latencies}}}};
}

Json latency_of(double count, double value, double low, double high) {
    Json latency = {{"count", count}};
    for (const LatencyShare &share : latency_shares)
        latency[share.key] = {{"ns", value}, {"low_ns", low}, {"high_ns", high}};
    return latency;
}

LoadDifference operations(const Json &before, const Json &after, double bound) {
    return compare_loads(before, after, bound).front();
}

}  // namespace

TEST(LoadComparison, OfARunWithItselfIsNoChange) {
    const Json run = run_of({90, 110, 100, 95, 105});
    const LoadDifference same = operations(run, run, 0.1);
    EXPECT_EQ(same.what, "operations a second");
    EXPECT_EQ(same.before, 100);
    EXPECT_EQ(same.after, 100);
    EXPECT_LT(same.low, 0);
    EXPECT_GT(same.high, 0);
    EXPECT_FALSE(same.worse);
}

TEST(LoadComparison, IntervalAddsTheErrorsOfBothRuns) {
    // Standard errors of the means: sqrt(250 / 4 / 5) and sqrt(10 / 4 / 5).
    const LoadDifference difference = operations(run_of({90, 110, 100, 95, 105}), run_of({48, 52, 50, 49, 51}), 0.1);
    const double error = 1.96 * std::hypot(std::sqrt(62.5 / 5), std::sqrt(2.5 / 5)) / 100;
    EXPECT_NEAR(difference.low, -0.5 - error, 1e-9);
    EXPECT_NEAR(difference.high, -0.5 + error, 1e-9);
}

TEST(LoadComparison, IsWorseOnlyWhenTheWholeIntervalLiesBeyondTheBound) {
    const Json before = run_of({100, 101, 99, 100, 100});
    EXPECT_TRUE(operations(before, run_of({80, 81, 79, 80, 80}), 0.1).worse);
    EXPECT_FALSE(operations(before, run_of({92, 93, 91, 92, 92}), 0.1).worse);
    // Less on average, but nobody knows.
    EXPECT_FALSE(operations(before, run_of({40, 120, 60, 110, 70}), 0.1).worse);
    EXPECT_FALSE(operations(before, run_of({200, 201, 199, 200, 200}), 0.1).worse);
}

TEST(LoadComparison, LongerLatenciesAreWorseAndShorterOnesAreNot) {
    const auto run = [](double value) {
        return run_of({1, 1}, {{"stspi_open_image", latency_of(100000, value, value * 0.98, value * 1.02)}});
    };
    const auto p50 = [](const std::vector<LoadDifference> &differences) { return differences.at(3); };
    const LoadDifference longer = p50(compare_loads(run(1000), run(1300), 0.1));
    EXPECT_EQ(longer.what, "stspi_open_image p50");
    EXPECT_NEAR(longer.low, 0.3 - std::hypot(0.026, 0.02), 1e-9);
    EXPECT_NEAR(longer.high, 0.3 + std::hypot(0.026, 0.02), 1e-9);
    EXPECT_TRUE(longer.worse);
    EXPECT_FALSE(p50(compare_loads(run(1300), run(1000), 0.1)).worse);
}

TEST(LoadComparison, LeavesOutSharesOfWhichTooFewWereSlower) {
    const auto run = [](double count) { return run_of({1, 1}, {{"stspi_open_image", latency_of(count, 5, 4, 6)}}); };
    const auto compared = [&run](double before, double after) {
        return compare_loads(run(before), run(after), 0.1).size() - 3;
    };
    EXPECT_EQ(compared(10, 100000), 0U);
    EXPECT_EQ(compared(100, 100000), 2U);  // p50 and p90
    EXPECT_EQ(compared(100000, 100000), 4U);
}

TEST(LoadComparison, LeavesOutWhatOnlyOneRunCalled) {
    const Json with = run_of({1, 1}, {{"stspi_open_image", latency_of(1000, 5, 4, 6)}});
    EXPECT_EQ(compare_loads(with, run_of({1, 1}), 0.1).size(), 3U);
    EXPECT_EQ(compare_loads(run_of({1, 1}), with, 0.1).size(), 3U);
}

TEST(LoadComparison, OfWhatIsNoResultIsAnError) {
    EXPECT_THROW(compare_loads(Json::object(), run_of({1, 1}), 0.1), UsageError);
    EXPECT_THROW(compare_loads(run_of({1, 1}), Json{{"series", 5}}, 0.1), UsageError);
}
