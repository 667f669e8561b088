// A file system that is really full: a small one in a mount namespace of a process of its own. And files that may not grow.
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int not_permitted = 77;

// Mounts a file system of that size where only this process sees it.
bool mount_small(const fs::path &place, const char *options) {
    const unsigned user = geteuid(), group = getegid();
    if (user != 0) {
        if (unshare(CLONE_NEWUSER) != 0)
            return false;
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
    }
    return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("small", place.c_str(), "tmpfs", 0, options) == 0;
}

}  // namespace

class FullFileSystem : public DirectoryTest {
protected:
    // Runs a part with the file system mounted; its failures are seen through the exit status and the output.
    template <class Part>
    void with_small_file_system(const char *options, Part part) {
        const fs::path place = root() / "small";
        fs::create_directory(place);
        const pid_t child = fork();
        if (child == 0) {
            if (!mount_small(place, options))
                _exit(not_permitted);
            part(place.string());
            _exit(HasFailure() ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (WIFEXITED(status) && WEXITSTATUS(status) == not_permitted)
            GTEST_SKIP() << "no mount namespace here";
        EXPECT_EQ(status, 0);
    }
};

TEST_F(FullFileSystem, KeepsWhatIsThereAndSaysWhy) {
    with_small_file_system("size=2m", [](const std::string &place) {
        const char *lsu = place.c_str();
        const std::string kept = pattern(300000), small = pattern(200000, 2), large = pattern(4000000, 3);
        ASSERT_EQ(store("kept", kept, lsu), 0) << stsimg_last_error();
        for (int round = 0; round < 20; ++round) {
            EXPECT_EQ(store("new", large, lsu), STSIMG_E_NO_SPACE) << stsimg_last_error();
            EXPECT_EQ(store("kept", large, lsu), STSIMG_E_NO_SPACE);
            EXPECT_EQ(names(lsu), std::vector<std::string>{"kept"});
            EXPECT_TRUE(content("kept", lsu) == kept);
        }
        EXPECT_EQ(store("small", small, lsu), 0) << stsimg_last_error();
        EXPECT_TRUE(content("small", lsu) == small);
        EXPECT_EQ(std::distance(fs::directory_iterator(place), fs::directory_iterator()), 2);
    });
}

TEST_F(FullFileSystem, WithoutRoomForFilesNothingIsLost) {
    with_small_file_system("size=2m,nr_inodes=4", [](const std::string &place) {
        const char *lsu = place.c_str();
        // The root directory, the directory of unfinished files, and two images.
        ASSERT_EQ(store("one", "1", lsu), 0) << stsimg_last_error();
        ASSERT_EQ(store("two", "2", lsu), 0) << stsimg_last_error();
        EXPECT_EQ(store("three", "3", lsu), STSIMG_E_NO_SPACE) << stsimg_last_error();
        EXPECT_EQ(names(lsu), (std::vector<std::string>{"one", "two"}));
        EXPECT_EQ(content("one", lsu), "1");
        EXPECT_EQ(remove("one", lsu), 0);
        EXPECT_EQ(store("three", "3", lsu), 0) << stsimg_last_error();
    });
}

// A process whose files may have 3 MiB stores an image of 4.
class FileSizeLimit : public DirectoryTest {
protected:
    // Gives the wait status of the process; 0 if it was told of all.
    static int store_beyond_limit(void (*disposition)(int)) {
        const pid_t child = fork();
        if (child == 0) {
            const rlimit limit{3 << 20, 3 << 20};
            signal(SIGXFSZ, disposition);
            if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
                _exit(2);
            sts_image_handle_t image = nullptr;
            const bool told = create("large", image) == 0 && write(image, pattern(4 << 20)) == STSIMG_E_TOO_LARGE &&
                              stsimg_close_image(image) == STSIMG_E_TOO_LARGE;
            _exit(told ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    }
};

TEST_F(FileSizeLimit, IsToldWhenTheSignalIsIgnored) {
    ASSERT_EQ(store("kept", "x"), 0);
    EXPECT_EQ(store_beyond_limit(SIG_IGN), 0);
    EXPECT_FALSE(fs::exists(unfinished()));
    EXPECT_EQ(names(), std::vector<std::string>{"kept"});
}

TEST_F(FileSizeLimit, EndsTheProcessAsTheSystemHasItOtherwise) {
    ASSERT_EQ(store("kept", "x"), 0);
    const int status = store_beyond_limit(SIG_DFL);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << status;
    EXPECT_EQ(names(), std::vector<std::string>{"kept"});
    EXPECT_FALSE(fs::exists(unfinished()));
}
