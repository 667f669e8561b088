#include "simhost/load/load_outcome.h"

#include <gtest/gtest.h>

namespace {

TimePoint point(double seconds, uint64_t operations, double p99_ns) {
    TimePoint made;
    made.seconds = seconds;
    made.operations = operations;
    made.p99_ns = p99_ns;
    return made;
}

}  // namespace

TEST(HalvedOutcome, KeepsTheLaterPointAndTheLongerLatency) {
    LoadOutcome outcome;
    outcome.points = {point(1, 10, 5), point(2, 20, 3), point(3, 30, 4), point(4, 40, 6), point(5, 50, 1)};
    outcome.halve();
    ASSERT_EQ(outcome.points.size(), 3U);
    EXPECT_EQ(outcome.points[0].seconds, 2);
    EXPECT_EQ(outcome.points[0].operations, 20U);
    EXPECT_EQ(outcome.points[0].p99_ns, 5);
    EXPECT_EQ(outcome.points[1].p99_ns, 6);
    EXPECT_EQ(outcome.points[2].seconds, 5);
}

TEST(HalvedOutcome, KeepsTheLesserMeasurement) {
    LoadOutcome outcome;
    outcome.histories.resize(1);
    outcome.histories[0].heap_bytes = {{1, 7}, {2, 6}, {3, 4}, {4, 9}};
    outcome.halve();
    ASSERT_EQ(outcome.histories[0].heap_bytes.size(), 2U);
    EXPECT_EQ(outcome.histories[0].heap_bytes[0].seconds, 2);
    EXPECT_EQ(outcome.histories[0].heap_bytes[1].value, 4);
}
