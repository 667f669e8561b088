#include "base/invariant.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Invariant, SaysNothingWhileItHolds) { EXPECT_NO_THROW(STS_INVARIANT(1 + 1 == 2)); }

TEST(Invariant, NamesPlaceAndConditionWhenItIsBroken) {
    const int used = 3;
    const int room = 2;
    const int line = __LINE__ + 2;
    try {
        STS_INVARIANT(used <= room);
        FAIL();
    } catch (const BrokenInvariant &broken) {
        EXPECT_EQ(broken.what(), "broken invariant in invariant_test.cpp:" + std::to_string(line) + ": used <= room");
    }
}

TEST(Invariant, LooksAtItsConditionOnce) {
    int looks = 0;
    STS_INVARIANT(++looks == 1);
    EXPECT_EQ(looks, 1);
}

}  // namespace
