#include "conformance/explore/mirror.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/private_directory.h"

using namespace conformance;

namespace {

class MirrorTest : public testing::Test {
protected:
    PrivateDirectory directory{"mirror-test", AtEnd::remove_all};
    Mirror mirror{directory / "x", "mirror-test" + std::to_string(getpid()), "node.domain"};
    std::string work = mirror.places().work;
};

}  // namespace

TEST_F(MirrorTest, TheSameOnBothSidesIsNoDifference) {
    EXPECT_EQ(mirror.make_directory(work + "/s"), 0);
    EXPECT_EQ(mirror.make_link(work + "/s", work + "/l"), 0);
    EXPECT_EQ(mirror.make_directory(work + "/l/in"), 0);
    EXPECT_NE(mirror.difference(), "");
    mkdir((work + "/s").c_str(), 0700);
    EXPECT_EQ(symlink((work + "/s").c_str(), (work + "/l").c_str()), 0);
    EXPECT_NE(mirror.difference(), "");
    mkdir((work + "/s/in").c_str(), 0700);
    EXPECT_EQ(mirror.difference(), "");
}

TEST_F(MirrorTest, PermissionsAndTargetsCount) {
    mirror.make_directory(work + "/s");
    mkdir((work + "/s").c_str(), 0755);
    EXPECT_EQ(mirror.difference(), "{work}/s: expected directory 0700, got directory 0755");
    chmod((work + "/s").c_str(), 0700);
    mirror.make_link(work + "/s", work + "/l");
    EXPECT_EQ(symlink("/elsewhere", (work + "/l").c_str()), 0);
    EXPECT_NE(mirror.difference(), "");
}

TEST_F(MirrorTest, WhatStandsThereInAdditionIsADifference) {
    mkdir((work + "/extra").c_str(), 0700);
    EXPECT_EQ(mirror.difference(), "{work}/extra: made, and should not be there (directory 0700)");
    mirror.clear();
    EXPECT_EQ(mirror.difference(), "");
}

TEST_F(MirrorTest, TheKernelAnswers) {
    EXPECT_EQ(mirror.make_directory(work + "/f/x"), ENOTDIR);
    EXPECT_EQ(mirror.make_directory(work + "/f"), EEXIST);
    EXPECT_EQ(mirror.look_at(work + "/none"), ENOENT);
    EXPECT_EQ(mirror.make_directory(""), ENOENT);
    EXPECT_EQ(mirror.remove_link(work + "/f"), 0);
}
