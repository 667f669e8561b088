#include "base/escaped_text.h"

#include <gtest/gtest.h>

TEST(InQuotes, EscapesWhatATerminalWouldObey) {
    EXPECT_EQ(in_quotes("plain name"), "\"plain name\"");
    EXPECT_EQ(in_quotes("a\"b\\c\nd\033[1m\177"), "\"a\\\"b\\\\c\\nd\\x1b[1m\\x7f\"");
}

TEST(Printable, LeavesQuotesAndOtherAlphabets) { EXPECT_EQ(printable("\"\xc3\xa4\"\t"), "\"\xc3\xa4\"\\x09"); }
