#include "simhost/load/growth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/support/seeds.h"

namespace {

constexpr double floor_of_100 = 100;

// One measurement a second.
template <class Function>
std::vector<Measurement> measured(int seconds, Function value_at) {
    std::vector<Measurement> measurements;
    measurements.reserve(static_cast<size_t>(seconds));
    for (int second = 0; second < seconds; ++second)
        measurements.push_back({static_cast<double>(second), value_at(second)});
    return measurements;
}

}  // namespace

TEST(Growth, TooFewMeasurementsAreNotJudged) {
    const auto rising = [](int second) { return second * 1000.0; };
    EXPECT_FALSE(judge_growth(measured(23, rising), floor_of_100).judged);
    EXPECT_TRUE(judge_growth(measured(24, rising), floor_of_100).judged);
}

TEST(Growth, AStraightLineHasItsSlopeAndNoError) {
    const Growth growth = judge_growth(measured(400, [](int second) { return 7 + 2.5 * second; }), floor_of_100);
    EXPECT_TRUE(growth.grows);
    EXPECT_NEAR(growth.per_hour, 9000, 1e-6);
    EXPECT_NEAR(growth.error_per_hour, 0, 1e-6);
    // From the first stretch behind the first quarter to the last one.
    EXPECT_NEAR(growth.total, 2.5 * (385 - 100), 1e-6);
}

TEST(Growth, WhatIsSteadyDoesNotGrow) {
    const Growth growth = judge_growth(measured(400, [](int) { return 5.0; }), floor_of_100);
    EXPECT_TRUE(growth.judged);
    EXPECT_FALSE(growth.grows);
    EXPECT_EQ(growth.per_hour, 0);
}

TEST(Growth, WarmingUpIsLeftOut) {
    const auto warming = [](int second) { return std::min(second, 90) * 1000.0; };
    EXPECT_FALSE(judge_growth(measured(400, warming), floor_of_100).grows);
}

TEST(Growth, WhatHasOnlyBegunLateIsNone) {
    for (const int begin : {120, 160, 200, 240}) {
        const auto step = [begin](int second) { return second < begin ? 0.0 : 1000.0; };
        EXPECT_FALSE(judge_growth(measured(400, step), floor_of_100).grows) << begin;
    }
}

TEST(Growth, WhatIsInUseForAMomentIsNone) {
    const auto peaks = [](int second) { return second % 5 == 0 ? 10.0 : 10.0 + second * 50.0; };
    EXPECT_FALSE(judge_growth(measured(400, peaks), floor_of_100).grows);
}

TEST(Growth, LessThanTheFloorIsNoneHoweverSteady) {
    const auto slow = [](int second) { return second * 0.3; };
    EXPECT_FALSE(judge_growth(measured(400, slow), floor_of_100).grows);
    EXPECT_TRUE(judge_growth(measured(400, slow), 50).grows);
}

TEST(Growth, ErrorIsTheOneOfAFittedLine) {
    // Stretches of 15 measurements, of which the least counts: those of every other stretch lie a unit higher.
    const auto steps = [](int second) { return second < 100 ? 0.0 : 2.0 * ((second - 100) / 15 % 2); };
    const Growth growth = judge_growth(measured(400, steps), floor_of_100);
    // Twenty points a quarter of a minute apart, alternately 0 and 2.
    double slope = 0;
    double times = 0;
    for (int i = 0; i < 20; ++i) {
        slope += (i - 9.5) * 15 * (2.0 * (i % 2) - 1);
        times += (i - 9.5) * 15 * (i - 9.5) * 15;
    }
    slope /= times;
    double residuals = 0;
    for (int i = 0; i < 20; ++i)
        residuals += std::pow(2.0 * (i % 2) - 1 - slope * (i - 9.5) * 15, 2);
    EXPECT_NEAR(growth.per_hour, slope * 3600, 1e-6);
    EXPECT_NEAR(growth.error_per_hour, std::sqrt(residuals / 18 / times) * 3600, 1e-6);
    EXPECT_FALSE(growth.grows);
}

TEST(Growth, NoiseGrowsRarely) {
    for (const uint32_t first : seeds_of("Growth.NoiseGrowsRarely", 0)) {
        int grown = 0;
        for (uint32_t seed = first; seed != first + 200; ++seed) {
            std::mt19937 random(seed);
            std::normal_distribution<double> noise(1000, 300);
            grown += judge_growth(measured(400, [&](int) { return noise(random); }), 0).grows ? 1 : 0;
        }
        // Three standard errors to one side, of a line through twenty points: some 0.4 %.
        EXPECT_LE(grown, 5) << "seeds from " << first << " on";
    }
}
