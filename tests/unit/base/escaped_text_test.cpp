#include "base/escaped_text.h"

#include <gtest/gtest.h>

TEST(InQuotes, EscapesWhatATerminalWouldObey) {
    EXPECT_EQ(in_quotes("plain name"), "\"plain name\"");
    EXPECT_EQ(in_quotes("a\"b\\c\nd\033[1m\177"), "\"a\\\"b\\\\c\\nd\\x1b[1m\\x7f\"");
}

TEST(Printable, LeavesQuotesAndOtherAlphabets) { EXPECT_EQ(printable("\"\xc3\xa4\"\t"), "\"\xc3\xa4\"\\x09"); }

TEST(Printable, EscapesWhatCannotBeSeen) {
    EXPECT_EQ(printable("a\xc2\x9b"
                        "31m"),
              "a\\u009b31m");                              // a control character beyond ASCII
    EXPECT_EQ(printable("\xe2\x80\xae"), "\\u202e");       // a mark of writing direction
    EXPECT_EQ(printable("\xc2\xa0"), "\\u00a0");           // a no-break space
    EXPECT_EQ(printable("\xf3\xa0\x81\x81"), "\\Ue0041");  // a character of no width
}

TEST(Printable, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(printable("\xff\xc3("), "\\xff\\xc3(");
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");  // a surrogate
    EXPECT_EQ(printable("\xc0\xaf"), "\\xc0\\xaf");           // an overlong form
}

TEST(Visible, LeavesWhatIsEscapedAlready) {
    EXPECT_EQ(visible("\"a\\x1b\\\\\""), "\"a\\x1b\\\\\"");
    EXPECT_EQ(visible(printable("\033[1m\xc2\x9b\xff\n\\")), printable("\033[1m\xc2\x9b\xff\n\\"));
    EXPECT_EQ(visible("\033]0;title\007\xc2\x9b\xff\n"), "\\x1b]0;title\\x07\\u009b\\xff\\n");
}
