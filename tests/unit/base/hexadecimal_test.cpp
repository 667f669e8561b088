#include "base/hexadecimal.h"

#include <gtest/gtest.h>

TEST(Hexadecimal, TwoDigitsAByte) {
    EXPECT_EQ(in_hexadecimal(""), "");
    EXPECT_EQ(in_hexadecimal(std::string_view("\0a\x7f\x80\xff\n", 6)), "00617f80ff0a");
}
