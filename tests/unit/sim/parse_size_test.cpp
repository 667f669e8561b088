#include "sim/parse_size.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ParseSize, NumberWithUnit) { EXPECT_EQ(parse_size("100G;"), 107374182400U); }

TEST(ParseSize, LowerCaseUnitIsTheSame) { EXPECT_EQ(parse_size("100g;"), 107374182400U); }

TEST(ParseSize, UnitWithoutSemicolonIsIgnored) {
    EXPECT_EQ(parse_size("100G"), 100U);
    EXPECT_EQ(parse_size("10G"), 10U);
}

TEST(ParseSize, NumberWithoutUnit) {
    EXPECT_EQ(parse_size("100;"), 100U);
    EXPECT_EQ(parse_size("512;"), 512U);
}

TEST(ParseSize, OtherLetterCountsAsBytes) {
    EXPECT_EQ(parse_size("7X;"), 7U);
    EXPECT_EQ(parse_size("7B;"), 7U);
}

TEST(ParseSize, UnitWithoutNumberIsZero) { EXPECT_EQ(parse_size("G;"), 0U); }

TEST(ParseSize, EveryUnitIsAPowerOf1024) {
    uint64_t expected = 1;
    for (const char unit : std::string("KMGTP")) {
        expected *= 1024;
        EXPECT_EQ(parse_size((std::string("1") + unit + ";").c_str()), expected) << unit;
        EXPECT_EQ(parse_size((std::string("1") + static_cast<char>(unit - 'A' + 'a') + ";").c_str()), expected) << unit;
    }
}

TEST(ParseSize, AnyLastCharacterStandsForTheSemicolon) {
    EXPECT_EQ(parse_size("1KB"), 1024U);
    EXPECT_EQ(parse_size("1KK"), 1024U);
}

TEST(ParseSize, NumberEndsAtTheFirstByteThatIsNoDigit) { EXPECT_EQ(parse_size("1.5G;"), 1073741824U); }

TEST(ParseSize, SignIsAccepted) {
    EXPECT_EQ(parse_size("-1K;"), 18446744073709550592U);
    EXPECT_EQ(parse_size("+2K;"), 2048U);
}

TEST(ParseSize, LeadingWhiteSpaceIsAccepted) { EXPECT_EQ(parse_size("  3K;"), 3072U); }

TEST(ParseSize, NumberIsCutTo32BitsWithItsSign) {
    EXPECT_EQ(parse_size("2147483647;"), 2147483647U);
    EXPECT_EQ(parse_size("2147483648;"), 18446744071562067968U);
    EXPECT_EQ(parse_size("3000000000;"), 18446744072414584320U);
    EXPECT_EQ(parse_size("4294967296;"), 0U);
    EXPECT_EQ(parse_size("4294967297K;"), 1024U);
}

TEST(ParseSize, ProductWrapsAt64Bits) {
    EXPECT_EQ(parse_size("16384P;"), 0U);
    EXPECT_EQ(parse_size("16385P;"), 1125899906842624U);
}

TEST(ParseSize, NumberBeyond64BitsIsTheLargestOne) {
    EXPECT_EQ(parse_size("99999999999999999999;"), 18446744073709551615U);  // LONG_MAX, cut to -1
}

TEST(ParseSize, TextShorterThanTwoCharactersIsANumberWithoutUnit) {
    EXPECT_EQ(parse_size(""), 0U);
    EXPECT_EQ(parse_size("7"), 7U);
    EXPECT_EQ(parse_size("K"), 0U);
    EXPECT_EQ(parse_size(";"), 0U);
}

}  // namespace
