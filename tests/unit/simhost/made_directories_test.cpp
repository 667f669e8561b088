#include "simhost/host/made_directories.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "tests/support/temp_directory.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class MadeDirectories : public testing::Test {
protected:
    MadeDirectories() : root(fs::canonical(directory.path()).string()) { record_made_directories(); }

    TempDirectory directory;
    std::string root;
};

TEST_F(MadeDirectories, AreRemovedLastMadeFirst) {
    mkdir((root + "/a").c_str(), 0700);
    mkdir((root + "/a/b").c_str(), 0700);
    EXPECT_THAT(made_directories(), ElementsAre(root + "/a", root + "/a/b"));
    EXPECT_THAT(remove_made_directories(), IsEmpty());
    EXPECT_FALSE(fs::exists(root + "/a"));
    EXPECT_THAT(made_directories(), IsEmpty());
}

TEST_F(MadeDirectories, AreOnlyThoseThatWereNotThere) {
    fs::create_directory(root + "/before");
    record_made_directories();
    EXPECT_EQ(mkdir((root + "/before").c_str(), 0700), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_THAT(remove_made_directories(), IsEmpty());
    EXPECT_TRUE(fs::exists(root + "/before"));
}

TEST_F(MadeDirectories, StayWhenSomethingIsInThem) {
    mkdir((root + "/a").c_str(), 0700);
    std::ofstream(root + "/a/file") << "mine";
    EXPECT_THAT(remove_made_directories(), ElementsAre(root + "/a"));
    EXPECT_TRUE(fs::exists(root + "/a/file"));
}

TEST_F(MadeDirectories, AreFoundAlsoWhenMadeThroughALibraryOrADescriptor) {
    fs::create_directory(root + "/library");
    const int base = open(root.c_str(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(mkdirat(base, "descriptor", 0700), 0);
    EXPECT_EQ(mkdirat(base, (root + "/absolute").c_str(), 0700), 0);
    close(base);
    EXPECT_THAT(made_directories(), ElementsAre(root + "/library", root + "/descriptor", root + "/absolute"));
}

TEST_F(MadeDirectories, AreKnownByTheirOwnPathWhenALinkOnTheWayGoes) {
    fs::create_directory(root + "/real");
    fs::create_directory_symlink(root + "/real", root + "/link");
    record_made_directories();
    mkdir((root + "/link/made").c_str(), 0700);
    fs::remove(root + "/link");
    EXPECT_THAT(remove_made_directories(), IsEmpty());
    EXPECT_FALSE(fs::exists(root + "/real/made"));
}

TEST_F(MadeDirectories, AreNotMissedWhenAlreadyGone) {
    mkdir((root + "/a").c_str(), 0700);
    fs::remove(root + "/a");
    EXPECT_THAT(remove_made_directories(), IsEmpty());
}
