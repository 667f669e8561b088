#include "base/private_directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

// TMPDIR as a test wants it.
class TmpdirSetting {
public:
    explicit TmpdirSetting(const char *value) {
        const char *before = std::getenv("TMPDIR");
        m_was_set = before != nullptr;
        m_before = m_was_set ? before : "";
        setenv("TMPDIR", value, 1);
    }
    ~TmpdirSetting() {
        if (m_was_set)
            setenv("TMPDIR", m_before.c_str(), 1);
        else
            unsetenv("TMPDIR");
    }
    TmpdirSetting(const TmpdirSetting &) = delete;
    TmpdirSetting &operator=(const TmpdirSetting &) = delete;

private:
    bool m_was_set;
    std::string m_before;
};

void make_file(const std::string &path) { std::ofstream(path) << "content"; }

TEST(PrivateDirectory, MayBeEnteredByItsOwnerOnly) {
    const PrivateDirectory directory("stspi-base", AtEnd::remove_all);
    struct stat found = {};
    ASSERT_EQ(stat(directory.path().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777U, 0700U);
    EXPECT_EQ(fs::path(directory.path()).filename().string().rfind("stspi-base-", 0), 0U);
}

TEST(PrivateDirectory, LiesBelowTmpdir) {
    const PrivateDirectory outer("stspi-base", AtEnd::remove_all);
    const TmpdirSetting setting(outer.path().c_str());
    const PrivateDirectory inner("inner", AtEnd::remove_all);
    EXPECT_EQ(fs::path(inner.path()).parent_path(), outer.path());
}

TEST(PrivateDirectory, LiesBelowTmpWhenTmpdirIsRelative) {
    const TmpdirSetting setting("relative");
    const PrivateDirectory directory("stspi-base", AtEnd::remove_all);
    EXPECT_EQ(fs::path(directory.path()).parent_path(), "/tmp");
}

TEST(PrivateDirectory, TellsPathAndReasonWhenItCannotBeMade) {
    const TmpdirSetting setting("/no/such/place");
    try {
        const PrivateDirectory directory("it", AtEnd::remove_all);
        FAIL();
    } catch (const std::runtime_error &failure) {
        EXPECT_STREQ(failure.what(),
                     "cannot make a private directory /no/such/place/it-XXXXXX: No such file or directory");
    }
}

TEST(PrivateDirectory, GoesWithAllItHolds) {
    std::string path;
    {
        const PrivateDirectory directory("stspi-base", AtEnd::remove_all);
        path = directory.path();
        fs::create_directory(directory / "below");
        make_file(directory / "below/file");
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(PrivateDirectory, StaysWhenItShallGoOnlyIfEmpty) {
    std::string path;
    {
        const PrivateDirectory directory("stspi-base", AtEnd::remove_if_empty);
        path = directory.path();
        make_file(directory / "file");
    }
    EXPECT_TRUE(fs::exists(path + "/file"));
    fs::remove_all(path);
}

TEST(PrivateDirectory, GoesWhenItIsEmpty) {
    std::string path;
    {
        const PrivateDirectory directory("stspi-base", AtEnd::remove_if_empty);
        path = directory.path();
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(PrivateDirectory, StaysWhenItIsKept) {
    std::string path;
    {
        PrivateDirectory directory("stspi-base", AtEnd::remove_all);
        path = directory.path();
        directory.keep();
    }
    EXPECT_TRUE(fs::exists(path));
    fs::remove_all(path);
}

}  // namespace
