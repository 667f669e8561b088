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

}  // namespace
