#include "simhost/report/capabilities.h"

#include <gtest/gtest.h>

TEST(CapabilityWords, AreThoseThatAreNotZero) {
    sts_server_info_t info = {};
    EXPECT_TRUE(capability_words(info).empty());
    info.capabilities[0] = 0x10040100;
    info.capabilities[34] = 0x80100400;
    info.capabilities[35] = 0x2;
    const auto words = capability_words(info);
    ASSERT_EQ(words.size(), 3U);
    EXPECT_EQ(words[0].offset, 1040U);
    EXPECT_EQ(words[0].announced_by, "every server");
    EXPECT_EQ(words[1].offset, 1176U);
    EXPECT_EQ(words[1].announced_by, "every server, disk arrays");
    EXPECT_EQ(words[2].announced_by, "unknown");
}

TEST(BitList, CountsFromTheLowestBit) {
    EXPECT_EQ(bit_list(0x80000101), "0, 8, 31");
    EXPECT_EQ(bit_list(0), "");
}
