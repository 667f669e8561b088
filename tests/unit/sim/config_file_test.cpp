#include "sim/config_file.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/config_directory.h"

namespace {

TEST(ConfigurationName, EndsAtTheFirstColon) { EXPECT_EQ(configuration_name("lab1:array1:x"), "lab1"); }

TEST(ConfigurationName, WithoutColonIsTheWholeName) { EXPECT_EQ(configuration_name("lab1"), "lab1"); }

TEST(ConfigurationName, MayBeEmpty) { EXPECT_EQ(configuration_name(":x"), ""); }

TEST(OpenConfiguration, MissingFileGivesNullAndErrno) {
    const ConfigDirectory directory;
    EXPECT_EQ(open_configuration("lab1", "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(OpenConfiguration, FileIsOpenForReading) {
    const ConfigDirectory directory;
    directory.write("lab1", "x");
    const File file = open_configuration("lab1", "r");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fgetc(file.get()), 'x');
}

// Names up to what a path has room for, and no longer: /etc/quillmere/NAME.sim ends with byte 4,095 at the latest.
TEST(OpenConfiguration, NameThatNoPathHasRoomForIsTooLong) {
    const ConfigDirectory directory;
    for (const size_t length : {4077U, 4078U, 4079U, 4091U, 4092U, 4100U, 100000U}) {
        errno = 0;
        EXPECT_EQ(open_configuration(std::string(length, 'n'), "r"), nullptr) << length;
        EXPECT_EQ(errno, ENAMETOOLONG) << length;
    }
}

TEST(OpenConfiguration, LeftoverErrnoIsNoLackOfMemory) {
    const ConfigDirectory directory;
    directory.write("lab1", "x");
    errno = ENOMEM;
    EXPECT_NE(open_configuration("lab1", "r"), nullptr);
}

}  // namespace
