#include "simhost/report/lsu_description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

using testing::ElementsAre;
using testing::Pair;

TEST(DescribeLsu, NamesClassesAndFlags) {
    EXPECT_EQ(describe_lsu_class(3), "3 (pool)");
    EXPECT_EQ(describe_lsu_class(9), "9 (unknown)");
    EXPECT_EQ(describe_lsu_flags(0), "0x0 (none)");
    EXPECT_EQ(describe_lsu_flags(0x81), "0x81 (standard, path)");
    EXPECT_EQ(describe_lsu_flags(0x82), "0x82 (path, unknown 0x2)");
}

TEST(LsuProperties, AreSplitAtTheFirstEqualsSign) {
    EXPECT_THAT(lsu_properties("ID=#UDID#a=b#;Hosts=;junk;Count=2"),
                ElementsAre(Pair("ID", "#UDID#a=b#"), Pair("Hosts", ""), Pair("Count", "2")));
    EXPECT_TRUE(lsu_properties("").empty());
}

TEST(LsuProperties, AreFoundByKey) {
    sts_lsu_info_v9_t info = {};
    std::strcpy(info.property_text, "A=1;B=2");
    EXPECT_EQ(lsu_property(info, "B"), "2");
    EXPECT_EQ(lsu_property(info, "C"), "");
}
