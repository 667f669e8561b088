#include "base/nearest_word.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> keys = {"HOSTS", "DISKS", "DISK_SIZE", "VOLUMES", "ENCLOSURE"};

TEST(NearestWord, FindsTypos) {
    EXPECT_EQ(nearest_word("HOST", keys), "HOSTS");
    EXPECT_EQ(nearest_word("hosts", keys), "HOSTS");
    EXPECT_EQ(nearest_word("DISKSIZE", keys), "DISK_SIZE");
    EXPECT_EQ(nearest_word("ENCLOSRUE", keys), "ENCLOSURE");
    EXPECT_EQ(nearest_word("VOLUMNES", keys), "VOLUMES");
}

TEST(NearestWord, PrefersTheNearer) { EXPECT_EQ(nearest_word("DISK", {"DISC_X", "DISKS"}), "DISKS"); }

TEST(NearestWord, FindsNothingFar) {
    EXPECT_EQ(nearest_word("FOO", keys), "");
    EXPECT_EQ(nearest_word("", keys), "");
    EXPECT_EQ(nearest_word(std::string(100000, 'H'), keys), "");
}

}  // namespace
