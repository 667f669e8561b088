#include "base/quoted_bytes.h"

#include <gtest/gtest.h>

TEST(Quoted, EscapesEverythingThatIsNoPrintableAscii) {
    EXPECT_EQ(quoted_bytes("a b"), "\"a b\"");
    EXPECT_EQ(quoted_bytes("\n\t\"\\\x01\x7f\xc3\xa4"), R"("\n\t\"\\\x01\x7f\xc3\xa4")");
}

TEST(Quoted, TellsTheLengthOfWhatItCuts) {
    EXPECT_EQ(quoted_bytes("abcd", 4), "\"abcd\"");
    EXPECT_EQ(quoted_bytes("abcde", 4), "\"abcd\"... (5 bytes)");
}

TEST(QuotedOrNull, NamesTheNullPointer) {
    EXPECT_EQ(quoted_or_null(nullptr), "null");
    EXPECT_EQ(quoted_or_null("null"), "\"null\"");
}
