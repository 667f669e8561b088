#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "stspi/sts_status.h"
#include "tests/support/log_recorder.h"
#include "tests/support/system_double.h"
#include "tests/support/unprivileged.h"
#include "tests/unit/sim/disk_array_test.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MountLsu : public testing::Test {
protected:
    MountLsu() { OrvSimStorageServer::set_session(m_log.session()); }

    // An array with the group dg1 that keeps its storage in the test's directory.
    DiskArray array(const std::string &more = "") const {
        return DiskArray("DISKGROUP=dg1;\nSTORAGE_DIR=" + (m_directory / "storage") + ";\n" + more);
    }
    static int mount(DiskArray &array, const std::string &volume, const std::string &mount_point) {
        return array->mountLSU("dg1", volume.c_str(), 1, "localhost", mount_point.c_str());
    }

    TempDirectory m_directory;
    LogRecorder m_log{0};  // the mask is not consulted
};

// ---- MOUNT_BEHAVIOR ----------------------------------------------------------------------------------------------

TEST_F(MountLsu, EveryBehaviorHasItsOutcome) {
    struct Outcome {
        const char *behavior;
        int status;
        int number;  // the status's: a wrong one in the header must not pass
    };
    const Outcome outcomes[] = {
        {"ALREADY_MOUNTED", STS_E_ALREADY_MOUNTED, 2061024},
        {"MOUNT_MODE_MISMATCH", STS_E_MOUNT_MODE_MISMATCH, 2061025},
        {"MAX_READ_MOUNTS_EXCEEDED", STS_E_MAX_READ_MOUNTS_EXCEEDED, 2061026},
        {"MAX_WRITE_MOUNTS_EXCEEDED", STS_E_MAX_WRITE_MOUNTS_EXCEEDED, 2061027},
        {"MOUNT_POINT_USED", STS_E_MOUNT_POINT_USED, 2061028},
        {"INVALID_FILESYS", STS_E_INVALID_FILESYS, 2061030},
        {"MOUNT_FAILED", STS_E_MOUNT_FAILED, 2061029},
        {"success", STS_E_MOUNT_FAILED, 2061029},
        {"SUCCESSX", STS_E_MOUNT_FAILED, 2061029},
        {"MOUNT_POINT_USEDX", STS_E_MOUNT_FAILED, 2061029},
        {"MOUNT_POINT_USE", STS_E_MOUNT_FAILED, 2061029},
        {"", STS_E_MOUNT_FAILED, 2061029},
    };
    for (const auto &[behavior, outcome, number] : outcomes) {
        EXPECT_EQ(outcome, number);
        DiskArray failing = array("MOUNT_BEHAVIOR=" + std::string(behavior) + ";\n");
        EXPECT_EQ(mount(failing, "vol1", m_directory / "mnt"), outcome) << behavior;
        EXPECT_EQ(failing->mountLSU("unknown", "vol1", 1, "localhost", "/nowhere"), outcome) << behavior;
    }
    EXPECT_TRUE(fs::is_empty(m_directory.path()));
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(MountLsu, EmptyBehaviorValueFails) {
    DiskArray failing = array("MOUNT_BEHAVIOR=\n");
    EXPECT_EQ(mount(failing, "vol1", m_directory / "mnt"), STS_E_MOUNT_FAILED);
}

TEST_F(MountLsu, BehaviorWithoutItsSemicolonLosesItsLastLetter) {
    DiskArray failing = array("MOUNT_BEHAVIOR=SUCCESS\n");
    EXPECT_EQ(mount(failing, "vol1", m_directory / "mnt"), STS_E_MOUNT_FAILED);
}

// ---- a mount that succeeds ---------------------------------------------------------------------------------------

TEST_F(MountLsu, MakesDirectoriesAndLink) {
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "a/b/mnt"), 0);
    EXPECT_EQ(fs::read_symlink(m_directory / "a/b/mnt"), m_directory / "storage/vol1");
    for (const char *made : {"storage", "storage/vol1", "a", "a/b"}) {
        struct stat status;
        ASSERT_EQ(stat((m_directory / made).c_str(), &status), 0) << made;
        EXPECT_TRUE(S_ISDIR(status.st_mode)) << made;
        EXPECT_EQ(status.st_mode & 0777, 0700U) << made;
    }
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(MountLsu, ConfiguredBehaviorSuccessIsTheSame) {
    DiskArray mounting = array("MOUNT_BEHAVIOR=SUCCESS;\n");
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), 0);
    EXPECT_TRUE(fs::is_symlink(m_directory / "mnt"));
}

TEST_F(MountLsu, GroupWithoutStorageDirGetsOneBelowTmp) {
    // A name of its own, since the directory lies outside the test's.
    const std::string group = fs::path(m_directory.path()).filename();
    DiskArray mounting("DISKGROUP=" + group + ";\n");
    const std::string mount_point = m_directory / "mnt/a/";
    EXPECT_EQ(mounting->mountLSU(group.c_str(), "vol1", 1, "localhost", mount_point.c_str()), 0);
    EXPECT_EQ(fs::read_symlink(m_directory / "mnt/a"), "/tmp/" + group + "/vol1");
    EXPECT_STREQ(storage_dir_text(*mounting->getPoolLSUInfo(group.c_str())), ("/tmp/" + group).c_str());
    EXPECT_THAT(mounting.saved(), testing::HasSubstr("\tSTORAGE_DIR = /tmp/" + group + ";\n"));
    fs::remove(m_directory / "mnt/a");
    // The group's directory may be the test's own (same name): leave that to its owner.
    fs::remove("/tmp/" + group + "/vol1");
    if ("/tmp/" + group != m_directory.path())
        fs::remove("/tmp/" + group);
}

TEST_F(MountLsu, DefaultStorageDirStaysSetWhenTheMountFails) {
    const std::string group = fs::path(m_directory.path()).filename().string() + "x";
    DiskArray mounting("DISKGROUP=" + group + ";\nSTORAGE_DIR=;\n");
    const FailingCall failing("symlink", EIO);
    EXPECT_EQ(mounting->mountLSU(group.c_str(), "v", 1, "localhost", (m_directory / "mnt").c_str()), EIO);
    EXPECT_STREQ(storage_dir_text(*mounting->getPoolLSUInfo(group.c_str())), ("/tmp/" + group).c_str());
    fs::remove("/tmp/" + group + "/v");
    fs::remove("/tmp/" + group);
}

// With the thread sanitizer, also a witness that nothing is shared without care.
TEST_F(MountLsu, FirstMountsOfManyThreadsAgreeOnTheDefaultStorageDir) {
    const std::string group = fs::path(m_directory.path()).filename().string() + "y";
    for (int round = 0; round < 20; ++round) {
        DiskArray mounting("DISKGROUP=" + group + ";\n");
        std::atomic<int> waiting{4};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&, thread] {
                const std::string mount_point = m_directory / ("mnt" + std::to_string(thread));
                for (--waiting; waiting != 0;) {
                }
                EXPECT_EQ(mounting->mountLSU(group.c_str(), "v", 1, "localhost", mount_point.c_str()), 0);
            });
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_STREQ(storage_dir_text(*mounting->getPoolLSUInfo(group.c_str())), ("/tmp/" + group).c_str());
    }
    for (int thread = 0; thread < 4; ++thread)
        EXPECT_EQ(fs::read_symlink(m_directory / ("mnt" + std::to_string(thread))), "/tmp/" + group + "/v");
    fs::remove("/tmp/" + group + "/v");
    fs::remove("/tmp/" + group);
}

TEST_F(MountLsu, AgainAtTheSamePlaceLeavesOneLink) {
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), 0);
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), 0);
    EXPECT_EQ(fs::read_symlink(m_directory / "mnt"), m_directory / "storage/vol1");
    EXPECT_TRUE(fs::is_empty(m_directory / "storage/vol1"));  // not a link inside the volume
}

TEST_F(MountLsu, OtherVolumeAtTheSamePlaceRedirectsTheLink) {
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), 0);
    EXPECT_EQ(mount(mounting, "vol2", m_directory / "mnt"), 0);
    EXPECT_EQ(fs::read_symlink(m_directory / "mnt"), m_directory / "storage/vol2");
}

TEST_F(MountLsu, FileAtTheMountPointIsReplaced) {
    std::ofstream(m_directory / "mnt") << "x";
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), 0);
    EXPECT_TRUE(fs::is_symlink(m_directory / "mnt"));
}

TEST_F(MountLsu, DanglingLinkAtTheMountPointIsReplaced) {
    fs::create_symlink("/nowhere/at/all", m_directory / "mnt");
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), 0);
    EXPECT_EQ(fs::read_symlink(m_directory / "mnt"), m_directory / "storage/vol1");
}

TEST_F(MountLsu, OneTrailingSlashIsRemoved) {
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt/"), 0);
    EXPECT_TRUE(fs::is_symlink(m_directory / "mnt"));
}

TEST_F(MountLsu, OfTwoTrailingSlashesOneStays) {
    // The mount point is then a path that ends with a slash: its last directory is made, and no link can take its place.
    DiskArray mounting = array();
    const int status = mount(mounting, "vol1", m_directory / "mnt//");
    EXPECT_NE(status, 0);
    EXPECT_TRUE(fs::is_directory(fs::symlink_status(m_directory / "mnt")));
}

TEST_F(MountLsu, RelativeMountPointIsAccepted) {
    const fs::path before = fs::current_path();
    fs::current_path(m_directory.path());
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", "r/mnt"), 0);
    fs::current_path(before);
    EXPECT_TRUE(fs::is_symlink(m_directory / "r/mnt"));
}

TEST_F(MountLsu, VolumeNeedNotBeConfigured) {
    DiskArray mounting = array("VOLUMES=v1;\n");
    EXPECT_EQ(mount(mounting, "other", m_directory / "mnt"), 0);
    EXPECT_TRUE(fs::is_directory(m_directory / "storage/other"));
}

TEST_F(MountLsu, EmptyVolumeIsTheStorageDirectory) {
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "", m_directory / "mnt"), 0);
    EXPECT_EQ(fs::read_symlink(m_directory / "mnt"), (m_directory / "storage") + "/");
}

TEST_F(MountLsu, NullVolumeCountsAsEmpty) {
    DiskArray mounting = array();
    EXPECT_EQ(mounting->mountLSU("dg1", nullptr, 1, nullptr, (m_directory / "mnt").c_str()), 0);
}

TEST_F(MountLsu, ModeAndHostMakeNoDifference) {
    DiskArray mounting = array();
    for (const int mode : {0, 1, 2, -1})
        EXPECT_EQ(
            mounting->mountLSU("dg1", "vol1", mode, mode != 0 ? "elsewhere" : nullptr, (m_directory / "mnt").c_str()),
            0);
}

// ---- mounts that fail --------------------------------------------------------------------------------------------

TEST_F(MountLsu, UnknownGroupIsLogged) {
    DiskArray mounting = array();
    EXPECT_EQ(mounting->mountLSU("dg2", "vol1", 1, "localhost", (m_directory / "mnt").c_str()), -1);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("Unknown Diskgroup: dg2\n")));
    EXPECT_TRUE(fs::is_empty(m_directory.path()));
}

TEST_F(MountLsu, NullGroupIsLoggedWithoutItsName) {
    DiskArray mounting = array();
    EXPECT_EQ(mounting->mountLSU(nullptr, "vol1", 1, "localhost", (m_directory / "mnt").c_str()), -1);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("Unknown Diskgroup: \n")));
}

TEST_F(MountLsu, NullMountPointCannotBeLinked) {
    DiskArray mounting = array();
    EXPECT_EQ(mounting->mountLSU("dg1", "vol1", 1, "localhost", nullptr), ENOENT);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("symlink failed: errno 2\n")));
}

TEST_F(MountLsu, DirectoryAtTheMountPointIsNotReplaced) {
    fs::create_directories(m_directory / "mnt/full");
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), EISDIR);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("unlink failed: errno 21\n")));
    EXPECT_TRUE(fs::is_directory(m_directory / "mnt/full"));
}

TEST_F(MountLsu, ReadOnlyParentOfTheStorageDirectoryIsNotLogged) {
    fs::permissions(m_directory.path(), fs::perms(0555));
    DiskArray mounting = array();
    const Unprivileged nobody;
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), EACCES);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(MountLsu, VolumeDirectoryThatCannotBeMadeIsNotLogged) {
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "no/such", m_directory / "mnt"), ENOENT);
    EXPECT_THAT(m_log.messages(), IsEmpty());
    EXPECT_TRUE(fs::is_directory(m_directory / "storage"));  // what was made stays
}

TEST_F(MountLsu, OverlongVolumeFailsWithoutALog) {
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, std::string(5000, 'v'), m_directory / "mnt"), ENAMETOOLONG);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(MountLsu, ParentDirectoryThatCannotBeMadeIsLogged) {
    std::ofstream(m_directory / "file") << "x";
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "file/a/mnt"), ENOTDIR);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("problem creating mount path directory")));
    EXPECT_TRUE(fs::is_directory(m_directory / "storage/vol1"));  // what was made stays
}

TEST_F(MountLsu, FirstParentDirectoryThatCannotBeMadeEndsIt) {
    DiskArray mounting = array();
    ASSERT_EQ(mount(mounting, "vol1", m_directory / "mnt"), 0);
    fs::create_directory(m_directory / "read-only");
    fs::permissions(m_directory / "read-only", fs::perms(0555));
    const Unprivileged nobody;
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "read-only/a/b/mnt"), EACCES);
}

TEST_F(MountLsu, LinkThatCannotBeMadeIsLogged) {
    DiskArray mounting = array();
    const FailingCall failing("symlink", ENOSPC);
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), ENOSPC);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("symlink failed: errno 28\n")));
}

TEST_F(MountLsu, SecondLinkThatFailsIsLogged) {
    // Another mount takes the place between the removal and the second attempt.
    std::ofstream(m_directory / "mnt") << "x";
    DiskArray mounting = array();
    const FailingCall failing("symlink", EEXIST);
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), EEXIST);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("symlink failed: errno 17\n")));
    EXPECT_FALSE(fs::exists(m_directory / "mnt"));
}

TEST_F(MountLsu, FileInPlaceOfTheStorageDirectoryFails) {
    std::ofstream(m_directory / "storage") << "x";
    DiskArray mounting = array();
    EXPECT_EQ(mount(mounting, "vol1", m_directory / "mnt"), ENOTDIR);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

// ---- without anybody to tell -------------------------------------------------------------------------------------

TEST_F(MountLsu, WithoutASessionTheStatusIsTheSame) {
    OrvSimStorageServer::set_session(nullptr);
    DiskArray mounting = array();
    EXPECT_EQ(mounting->mountLSU("dg2", "vol1", 1, "localhost", "/nowhere"), -1);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(MountLsu, WithoutALogFunctionTheStatusIsTheSame) {
    m_log.session()->log_function = nullptr;
    DiskArray mounting = array();
    EXPECT_EQ(mounting->mountLSU("dg2", "vol1", 1, "localhost", "/nowhere"), -1);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(MountLsu, LastSessionSetGetsTheMessages) {
    LogRecorder later{0};
    DiskArray mounting = array();
    OrvSimStorageServer::set_session(later.session());
    EXPECT_EQ(mounting->mountLSU("dg2", "vol1", 1, "localhost", "/nowhere"), -1);
    EXPECT_THAT(m_log.messages(), IsEmpty());
    EXPECT_THAT(later.messages(), ElementsAre(error("Unknown Diskgroup: dg2\n")));
}

}  // namespace
