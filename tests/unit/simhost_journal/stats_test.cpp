#include <gmock/gmock.h>

#include "simhost/journal/journal_stats.h"

TEST(Latencies, OfNoCallsAreZero) { EXPECT_EQ(Latencies().at(0.5), 0U); }

TEST(Latencies, AreTheLeastThatTheShareDidNotExceed) {
    Latencies latencies;
    for (uint64_t i = 1000; i > 0; --i)
        latencies.nanoseconds.push_back(i);
    latencies.sort();
    EXPECT_EQ(latencies.at(0), 1U);
    EXPECT_EQ(latencies.at(0.5), 500U);
    EXPECT_EQ(latencies.at(0.9), 900U);
    EXPECT_EQ(latencies.at(0.99), 990U);
    EXPECT_EQ(latencies.at(0.999), 999U);
    EXPECT_EQ(latencies.at(1), 1000U);
}

TEST(Latencies, OfOneCallAreAllTheSame) {
    Latencies latencies;
    latencies.nanoseconds = {7};
    EXPECT_EQ(latencies.at(0.001), 7U);
    EXPECT_EQ(latencies.at(0.5), 7U);
    EXPECT_EQ(latencies.at(1), 7U);
}
