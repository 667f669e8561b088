#include "conformance/explore/guarded_argument.h"

#include <gtest/gtest.h>

#include <cstring>

using conformance::GuardedArgument;

TEST(GuardedArgument, AByteBehindTheEndStopsTheProcess) {
    GuardedArgument argument;
    argument.put("abc");
    auto *bytes = static_cast<volatile char *>(argument.data());
    bytes[2] = 'x';
    EXPECT_DEATH(bytes[3] = 'x', "");
}

TEST(GuardedArgument, ChangesAndTheMarginAreSeen) {
    GuardedArgument argument;
    argument.put("abc");
    EXPECT_FALSE(argument.is_changed());
    EXPECT_FALSE(argument.is_margin_changed());
    auto *bytes = static_cast<char *>(argument.data());
    bytes[-1] = 'x';
    EXPECT_TRUE(argument.is_margin_changed());
    EXPECT_FALSE(argument.is_changed());
    bytes[0] = 'x';
    EXPECT_TRUE(argument.is_changed());
    EXPECT_EQ(argument.bytes(), "xbc");
}

TEST(GuardedArgument, ALongOneIsRefused) {
    GuardedArgument argument;
    EXPECT_THROW(argument.put(GuardedArgument::LARGEST + 1, 0), std::length_error);
}
