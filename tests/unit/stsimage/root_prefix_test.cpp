#include "stsimage/root_prefix.h"

#include <gtest/gtest.h>

using stsimage::normalize_prefix;

TEST(RootPrefix, HasOneSpelling) {
    for (const char *const spelling : {"a/b", "/a/b", "a/b/", "a//b", "//a///b//"})
        EXPECT_EQ(normalize_prefix(spelling), "a/b") << spelling;
    EXPECT_EQ(normalize_prefix("a"), "a");
    EXPECT_EQ(normalize_prefix("a."), "a.");
}

TEST(RootPrefix, MayBeEmpty) {
    for (const char *const spelling : {"", "/", "//"})
        EXPECT_EQ(normalize_prefix(spelling), "") << spelling;
}
