#include "simhost/host/mount_point.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "simhost/report/failure.h"
#include "tests/support/temp_directory.h"

namespace fs = std::filesystem;

class MountPointTest : public testing::Test {
protected:
    TempDirectory directory;
    std::string path = directory.path() + "/point";
};

TEST_F(MountPointTest, RemovesTheLinkThatWasMadeThere) {
    {
        const MountPoint point(path);
        EXPECT_EQ(point.target(), "");
        fs::create_symlink("/target", path);
        EXPECT_EQ(point.target(), "/target");
    }
    EXPECT_FALSE(fs::is_symlink(path));
}

TEST_F(MountPointTest, RemovesNothingThatIsNoLink) {
    {
        const MountPoint point(path);
        std::ofstream(path) << "x";
    }
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(MountPointTest, KeepsTheLinkWhenTold) {
    {
        MountPoint point(path);
        point.keep();
        fs::create_symlink("/target", path);
    }
    EXPECT_TRUE(fs::is_symlink(path));
}

TEST_F(MountPointTest, RefusesAPlaceThatIsTaken) {
    fs::create_symlink("/nowhere", path);
    EXPECT_THROW(MountPoint{path}, UsageError);
    EXPECT_THROW(MountPoint{path + "/"}, UsageError);
    EXPECT_TRUE(fs::is_symlink(path));
}

TEST_F(MountPointTest, IsAbsoluteAndWithoutSlash) {
    EXPECT_EQ(MountPoint(path + "//").path(), path);
    EXPECT_EQ(MountPoint("no/such/place").path(), (fs::current_path() / "no/such/place").string());
}

TEST(AbsoluteMountPoint, IsNotTheRoot) {
    for (const char *root : {"/", "//", "///"})
        EXPECT_THROW(absolute_mount_point(root), UsageError) << root;
}
