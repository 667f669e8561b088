#include "simhost/report/quantities.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(FormatBytes, PicksTheUnitByPowersOfAThousand) {
    EXPECT_EQ(format_bytes(0), "0 B");
    EXPECT_EQ(format_bytes(999), "999 B");
    EXPECT_EQ(format_bytes(1000), "1.0 kB");
    EXPECT_EQ(format_bytes(314'572'800), "314.6 MB");
    EXPECT_EQ(format_bytes(UINT64_MAX), "18.4 EB");
}

TEST(FormatBytes, NeverRoundsUpToAThousand) {
    EXPECT_EQ(format_bytes(999'949), "999.9 kB");
    EXPECT_EQ(format_bytes(999'960), "1.0 MB");
}

TEST(FormatDuration, PicksTheUnit) {
    EXPECT_EQ(format_duration(0), "0.0 us");
    EXPECT_EQ(format_duration(0.8e-6), "0.8 us");
    EXPECT_EQ(format_duration(31e-6), "31 us");
    EXPECT_EQ(format_duration(1.23e-3), "1.2 ms");
    EXPECT_EQ(format_duration(3.214), "3.21 s");
    EXPECT_EQ(format_duration(125), "2:05 min");
}

TEST(FormatDuration, NeverRoundsUpToTheNextUnit) {
    EXPECT_EQ(format_duration(9.96e-6), "10 us");
    EXPECT_EQ(format_duration(999.6e-6), "1.0 ms");
    EXPECT_EQ(format_duration(0.9996), "1.00 s");
    EXPECT_EQ(format_duration(99.999), "1:40 min");
}

TEST(FormatRate, IsBytesPerSecond) {
    EXPECT_EQ(format_rate(812'400'000, 2), "406.2 MB/s");
    EXPECT_EQ(format_rate(5, 0), "-");
}

TEST(ParseByteCount, TakesUnitsOf1024) {
    EXPECT_EQ(parse_byte_count("0"), 0U);
    EXPECT_EQ(parse_byte_count("4096"), 4096U);
    EXPECT_EQ(parse_byte_count("64K"), 65536U);
    EXPECT_EQ(parse_byte_count("3m"), 3U << 20);
    EXPECT_EQ(parse_byte_count("2G"), uint64_t{2} << 30);
}

TEST(ParseByteCount, RefusesWhatIsNoNumber) {
    for (const char *text : {"", "x", "-1", " 1", "1 ", "1Q", "1KB", "0x10"})
        EXPECT_THROW(parse_byte_count(text), std::invalid_argument) << text;
}

TEST(ParseByteCount, RefusesMoreThan64Bits) {
    EXPECT_EQ(parse_byte_count("18446744073709551615"), UINT64_MAX);
    EXPECT_THROW(parse_byte_count("18446744073709551616"), std::invalid_argument);
    EXPECT_THROW(parse_byte_count("17179869184G"), std::invalid_argument);
}
