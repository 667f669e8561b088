#include "plugin/claim.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "stspi/stspi.h"
#include "tests/support/config_directory.h"
#include "tests/support/log_recorder.h"
#include "tests/support/unprivileged.h"

namespace {

TEST(Claim, NameWhoseFileOpensIsClaimed) {
    const ConfigDirectory config;
    config.write("copan", "");
    EXPECT_EQ(stspi_claim("copan:array1"), 0);
    EXPECT_EQ(stspi_claim("copan:array1:x"), 0);
    EXPECT_EQ(stspi_claim("copan:"), 0);
    EXPECT_TRUE(isPluginSimulated("copan:array1"));
}

TEST(Claim, OnlyAColonEndsThePrefix) {
    const ConfigDirectory config;
    config.write("lab", "");
    for (const char *name : {"lab~:x", "lab;:x", "lab.:x", "lab,x", "lab x", "lab~"})
        EXPECT_EQ(stspi_claim(name), STS_E_NOT_CLAIMED) << name;
    config.write("lab~", "");
    EXPECT_EQ(stspi_claim("lab~:x"), 0);
}

TEST(Claim, NameWithoutColonIsItsOwnPrefix) {
    const ConfigDirectory config;
    EXPECT_EQ(stspi_claim("lab"), STS_E_NOT_CLAIMED);
    config.write("lab", "");
    EXPECT_EQ(stspi_claim("lab"), 0);
}

TEST(Claim, EmptyPrefixAsksForTheFileWithoutAName) {
    const ConfigDirectory config;
    EXPECT_EQ(stspi_claim(":x"), STS_E_NOT_CLAIMED);
    config.write("", "");
    EXPECT_EQ(stspi_claim(":x"), 0);
}

TEST(Claim, NullOrEmptyNameIsNotClaimed) {
    const ConfigDirectory config;
    config.write("", "");
    EXPECT_EQ(stspi_claim(nullptr), STS_E_NOT_CLAIMED);
    EXPECT_EQ(stspi_claim(""), STS_E_NOT_CLAIMED);
    EXPECT_FALSE(isPluginSimulated(nullptr));
    EXPECT_FALSE(isPluginSimulated(""));
}

TEST(Claim, RegistrationPrefixNeedsItsFileToo) {
    const ConfigDirectory config;
    EXPECT_EQ(stspi_claim("Kelvarpool:nodeA"), STS_E_NOT_CLAIMED);
    config.write("Kelvarpool", "");
    EXPECT_EQ(stspi_claim("Kelvarpool:nodeA"), 0);
}

TEST(Claim, UnreadableFileIsAForeignName) {
    const ConfigDirectory config;
    config.write("copan", "");
    std::filesystem::permissions(std::filesystem::path(config.path("copan")).parent_path(),
                                 std::filesystem::perms(0755));
    std::filesystem::permissions(config.path("copan"), std::filesystem::perms(0));
    const Unprivileged nobody;
    EXPECT_EQ(stspi_claim("copan:array1"), STS_E_NOT_CLAIMED);
}

TEST(Claim, LongNameIsNotClaimed) {
    const ConfigDirectory config;
    EXPECT_EQ(stspi_claim(std::string(3000, 'n').c_str()), STS_E_NOT_CLAIMED);
    EXPECT_EQ(stspi_claim((std::string(100000, 'n') + ":x").c_str()), STS_E_NOT_CLAIMED);
}

TEST(Claim, ClaimingLeavesNoFileOpen) {
    const ConfigDirectory config;
    config.write("copan", "");
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    const auto before = descriptors();
    for (int i = 0; i < 10; ++i)
        stspi_claim("copan:array1");
    EXPECT_EQ(descriptors(), before);
}

}  // namespace
