#include "simhost/load/latency_histogram.h"

#include <gtest/gtest.h>

namespace {

class Latencies : public testing::Test {
protected:
    SharedArena arena{1 << 20};
    LatencyHistogram histogram{arena};
};

}  // namespace

TEST_F(Latencies, SharesAreExactToTwoPercent) {
    for (uint64_t microseconds = 1; microseconds <= 1000; ++microseconds)
        histogram.add(microseconds * 1000);
    const LatencySummary summary = histogram.summary();
    EXPECT_EQ(summary.count, 1000U);
    EXPECT_EQ(summary.max_ns, 1000000U);
    EXPECT_NEAR(summary.mean_ns(), 500500, 1);
    EXPECT_NEAR(summary.at(0.5), 500000, 10000);
    EXPECT_NEAR(summary.at(0.99), 990000, 20000);
    EXPECT_EQ(summary.at(1), 1000000);
}

TEST_F(Latencies, ShorterAndLongerOnesThanTheClassesCount) {
    histogram.add(0);
    histogram.add(uint64_t{10000} * 1000000000);
    const LatencySummary summary = histogram.summary();
    EXPECT_EQ(summary.count, 2U);
    EXPECT_LE(summary.at(0.5), 51);
    EXPECT_EQ(summary.at(1), LatencyHistogram::class_end(1u << 20));
}

TEST_F(Latencies, SinceASummaryAreThoseBehindIt) {
    histogram.add(1000);
    const LatencySummary before = histogram.summary();
    histogram.add(1000000);
    const LatencySummary since = histogram.summary().since(before);
    EXPECT_EQ(since.count, 1U);
    EXPECT_NEAR(since.at(0.5), 1000000, 20000);
}

TEST_F(Latencies, AddUp) {
    LatencyHistogram other(arena);
    histogram.add(1000);
    other.add(3000);
    LatencySummary both;
    both.add(histogram.summary());
    both.add(other.summary());
    EXPECT_EQ(both.count, 2U);
    EXPECT_EQ(both.max_ns, 3000U);
    EXPECT_EQ(both.sum_ns, 4000);
}

TEST_F(Latencies, IntervalHoldsTheShareAndNarrowsWithMoreOfThem) {
    const auto width_of = [this](int rounds) {
        for (int round = 0; round < rounds; ++round)
            for (uint64_t microseconds = 1; microseconds <= 100; ++microseconds)
                histogram.add(microseconds * 1000);
        const LatencySummary summary = histogram.summary();
        const auto [low, high] = summary.interval(0.5);
        EXPECT_LE(low, summary.at(0.5));
        EXPECT_GE(high, summary.at(0.5));
        return high - low;
    };
    const double few = width_of(1);
    // 1.96 * sqrt(0.25 / 100) of a hundred microseconds to each side.
    EXPECT_NEAR(few, 19600, 2500);
    EXPECT_LT(width_of(99), few / 5);
}

TEST(LatencySummary, OfNothingTellsNothing) {
    EXPECT_EQ(LatencySummary().at(0.99), 0);
    EXPECT_EQ(LatencySummary().mean_ns(), 0);
    EXPECT_EQ(LatencySummary().interval(0.5), (std::pair<double, double>(0, 0)));
}
