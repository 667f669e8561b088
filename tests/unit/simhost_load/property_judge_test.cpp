#include "simhost/load/property_judge.h"

#include <gmock/gmock.h>

#include <cstring>

using testing::HasSubstr;

TEST(ChangedProperty, OfAnLsuIsAnythingThatNamesItOrTellsItsKind) {
    sts_lsu_info_v9_t before = {};
    std::strcpy(before.lsu_name, "gold");
    sts_lsu_info_v9_t now = before;
    EXPECT_EQ(changed_property(before, now), "");
    std::strcpy(now.lsu_name, "silver");
    EXPECT_EQ(changed_property(before, now), "lsu_name is \"silver\", and was \"gold\"");
    now = before;
    std::strcpy(now.server_name, "x");
    EXPECT_THAT(changed_property(before, now), HasSubstr("server_name"));
    for (uint32_t sts_lsu_info_v9_t::*number :
         {&sts_lsu_info_v9_t::lsu_class, &sts_lsu_info_v9_t::class_qualifier, &sts_lsu_info_v9_t::flags}) {
        now = before;
        now.*number = 5;
        EXPECT_THAT(changed_property(before, now), HasSubstr("is 5, and was 0"));
    }
    now = before;
    now.block_size_bytes = 512;
    EXPECT_EQ(changed_property(before, now), "block_size_bytes is 512, and was 0");
}

TEST(ChangedProperty, OfAnLsuIsNoAmount) {
    const sts_lsu_info_v9_t before = {};
    sts_lsu_info_v9_t now = before;
    now.used_bytes = 1;
    now.capacity_bytes = 2;
    EXPECT_EQ(changed_property(before, now), "");
}

TEST(ChangedProperty, OfAServerIsItsNameItsTypeAndWhatItCanDo) {
    const sts_server_info_t before = {};
    sts_server_info_t now = before;
    EXPECT_EQ(changed_property(before, now), "");
    now.server_name[0] = 'x';
    EXPECT_THAT(changed_property(before, now), HasSubstr("server_name"));
    now = before;
    now.server_type = STS_SERVER_TYPE_COPAN;
    EXPECT_EQ(changed_property(before, now), "server_type is 4, and was 0");
    now = before;
    now.capabilities[STS_CAPABILITY_WORDS - 1] = 0x10;
    EXPECT_EQ(changed_property(before, now), "word 35 of the capabilities is 0x10, and was 0x0");
}
