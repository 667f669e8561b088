#include "simhost/report/quantities.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(BytesInWords, AreExactAndInPowersOf1024) {
    EXPECT_EQ(bytes_in_words(0), "0 bytes");
    EXPECT_EQ(bytes_in_words(1), "1 byte");
    EXPECT_EQ(bytes_in_words(1023), "1023 bytes");
    EXPECT_EQ(bytes_in_words(10'737'418'240), "10737418240 bytes (10 GiB)");
    EXPECT_EQ(bytes_in_words(UINT64_MAX), "18446744073709551615 bytes (16.0 EiB)");
}

TEST(BytesInTable, LeaveTheUnitToTheTitle) {
    EXPECT_EQ(bytes_in_table(512), "512");
    EXPECT_EQ(bytes_in_table(1'500), "1500 (1.5 KiB)");
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
    EXPECT_EQ(format_rate(812'400'000, 2), "387.4 MiB/s");
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
