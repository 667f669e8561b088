#include "lsu/dynamic_lsu_name.h"

#include <gtest/gtest.h>

namespace {

struct Parsed {
    int status;
    std::string left;
    std::string right;
};
bool operator==(const Parsed &a, const Parsed &b) {
    return a.status == b.status && a.left == b.left && a.right == b.right;
}
void PrintTo(const Parsed &parsed, std::ostream *out) {
    *out << parsed.status << " \"" << parsed.left << "\" \"" << parsed.right << '"';
}

Parsed parsed(const char *name) {
    Name left("old left");
    Name right("old right");
    const int status = parseDynamicLSUName(name, left, right);
    return {status, c_text(left), c_text(right)};
}

TEST(DynamicLsuName, LeftAndRightOfTheColon) {
    EXPECT_TRUE(isDynamicLSUName("grp1:disk7"));
    EXPECT_EQ(parsed("grp1:disk7"), (Parsed{0, "grp1", "disk7"}));
}

TEST(DynamicLsuName, FurtherColonsBelongToTheRight) {
    EXPECT_TRUE(isDynamicLSUName("a:b:c"));
    EXPECT_EQ(parsed("a:b:c"), (Parsed{0, "a", "b:c"}));
    EXPECT_EQ(parsed("a::"), (Parsed{0, "a", ":"}));
}

TEST(DynamicLsuName, ColonLastLeavesTheRightEmpty) {
    EXPECT_TRUE(isDynamicLSUName("grp1:"));
    EXPECT_EQ(parsed("grp1:"), (Parsed{0, "grp1", ""}));
}

TEST(DynamicLsuName, ColonFirstIsDynamicButNotParsed) {
    EXPECT_TRUE(isDynamicLSUName(":disk7"));
    EXPECT_EQ(parsed(":disk7"), (Parsed{-1, "old left", "old right"}));
    EXPECT_EQ(parsed(":"), (Parsed{-1, "old left", "old right"}));
}

TEST(DynamicLsuName, WithoutColonBothPartsAreTheWholeName) {
    EXPECT_FALSE(isDynamicLSUName("grp1"));
    EXPECT_EQ(parsed("grp1"), (Parsed{0, "grp1", "grp1"}));
}

TEST(DynamicLsuName, EmptyNameHasEmptyParts) {
    EXPECT_FALSE(isDynamicLSUName(""));
    EXPECT_EQ(parsed(""), (Parsed{0, "", ""}));
}

TEST(DynamicLsuName, ColonBehindTheTerminatorDoesNotCount) {
    EXPECT_FALSE(isDynamicLSUName("grp1\0:disk7"));
    EXPECT_EQ(parsed("grp1\0:disk7"), (Parsed{0, "grp1", "grp1"}));
}

TEST(DynamicLsuName, NothingIsTrimmedOrFolded) { EXPECT_EQ(parsed(" A : b "), (Parsed{0, " A ", " b "})); }

TEST(DynamicLsuName, LongNamesAreWhole) {
    const std::string left(3000, 'l');
    const std::string right(3000, 'r');
    EXPECT_EQ(parsed((left + ":" + right).c_str()), (Parsed{0, left, right}));
}

}  // namespace
