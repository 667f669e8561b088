#include "simhost/host/failed_file_call.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/temp_directory.h"

namespace fs = std::filesystem;

class FailedFileCall : public testing::Test {
protected:
    FailedFileCall() : root(directory.path()) { forget_failed_file_call(); }

    TempDirectory directory;
    std::string root;
};

TEST_F(FailedFileCall, IsNoneWhenAllWentWell) {
    EXPECT_EQ(mkdir((root + "/a").c_str(), 0700), 0);
    EXPECT_EQ(symlink("a", (root + "/link").c_str()), 0);
    EXPECT_EQ(unlink((root + "/link").c_str()), 0);
    EXPECT_EQ(failed_file_call(), "");
}

TEST_F(FailedFileCall, TellsWhatFailedWhereAndWhyAndLeavesErrno) {
    const std::string nowhere = root + "/no/such";
    EXPECT_EQ(mkdir(nowhere.c_str(), 0700), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(failed_file_call(), "the directory " + nowhere + " could not be made: No such file or directory");
    EXPECT_EQ(symlink("a", nowhere.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(failed_file_call(), "the link " + nowhere + " could not be made: No such file or directory");
    EXPECT_EQ(unlink(root.c_str()), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(failed_file_call(), root + " could not be replaced: Is a directory");
    EXPECT_EQ(mkdirat(AT_FDCWD, nowhere.c_str(), 0700), -1);
    EXPECT_EQ(failed_file_call(), "the directory " + nowhere + " could not be made: No such file or directory");
}

TEST_F(FailedFileCall, IsNotOneThatFoundSomethingThere) {
    fs::create_directory(root + "/there");
    forget_failed_file_call();
    EXPECT_EQ(mkdir((root + "/there").c_str(), 0700), -1);
    EXPECT_EQ(symlink("a", (root + "/there").c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(failed_file_call(), "");
}

TEST_F(FailedFileCall, IsForgotten) {
    EXPECT_EQ(unlink(root.c_str()), -1);
    forget_failed_file_call();
    EXPECT_EQ(failed_file_call(), "");
}
