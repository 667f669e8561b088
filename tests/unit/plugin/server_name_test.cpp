#include "plugin/server_name.h"

#include <gtest/gtest.h>

namespace {

TEST(DiskArrayName, BeginsWithThePrefix) {
    EXPECT_TRUE(is_disk_array_name("Kelvarpool:nodeA"));
    EXPECT_TRUE(is_disk_array_name("Kelvarpool:"));
    for (const char *name : {"Kelvarpool", "kelvarpool:x", "Kelvarpool2:x", " Kelvarpool:x", "lab:x Kelvarpool:y", ""})
        EXPECT_FALSE(is_disk_array_name(name)) << name;
}

TEST(HostPart, StandsBehindTheFirstColon) {
    EXPECT_STREQ(host_part("a:b:c"), "b:c");
    EXPECT_STREQ(host_part("a:"), "");
    EXPECT_STREQ(host_part("whole"), "whole");
}

}  // namespace
