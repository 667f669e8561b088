#include "base/text_columns.h"

#include <gtest/gtest.h>

TEST(TextColumns, WideCharactersTakeTwoAndMarksNone) {
    EXPECT_EQ(text_columns(""), 0U);
    EXPECT_EQ(text_columns("abc"), 3U);
    EXPECT_EQ(text_columns("gr\xc3\xbc\xc3\x9f"), 4U);
    EXPECT_EQ(text_columns("e\xcc\x81"), 1U);                 // e, combining acute
    EXPECT_EQ(text_columns("\xe6\xb1\xa0\xe6\xb0\xb4"), 4U);  // two ideographs
    EXPECT_EQ(text_columns("\xff\xe6\xb1"), 3U);              // no UTF-8
}

TEST(AtRight, FillsUpInFront) {
    EXPECT_EQ(at_right("\xe6\xb1\xa0", 4), "  \xe6\xb1\xa0");
    EXPECT_EQ(at_right("long", 2), "long");
}

TEST(AtLeft, FillsUpBehind) { EXPECT_EQ(at_left("\xe6\xb1\xa0", 4), "\xe6\xb1\xa0  "); }
