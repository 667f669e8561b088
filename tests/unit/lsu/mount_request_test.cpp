#include <filesystem>

#include "tests/unit/lsu/lsu_test.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MountRequest : public LsuTest {
protected:
    MountRequest() {
        configure_array(pool("grp1", "disk7", "STORAGE_DIR=" + (m_directory / "storage") + ";\n"));
        std::memset(m_result, '!', sizeof m_result);
    }

    int32_t mount(const OpenedServer &server, const std::string &name, const std::string &mount_point,
                  uint32_t mode = 1) {
        const stsp_lsu_v7_t lsu = server.lsu(name);
        ready();
        return stspi_mount_lsu(&lsu, mount_point.c_str(), mode, 0, m_result);
    }

    void expect_untouched_result() const {
        EXPECT_EQ(std::string(m_result, sizeof m_result), std::string(sizeof m_result, '!'));
    }

    char m_result[STS_MOUNT_RESULT_SIZE + 1];
};

TEST_F(MountRequest, ResultIsTheNameAndTheMountPoint) {
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    const std::string mount_point = m_directory / "mnt/x";
    EXPECT_EQ(mount(server, "grp1:disk7", mount_point), 0);
    const std::string expected = "grp1:disk7," + mount_point;
    EXPECT_EQ(m_result, expected);
    EXPECT_EQ(m_result[expected.size() + 1], '!');
    EXPECT_EQ(fs::read_symlink(mount_point), m_directory / "storage/disk7");
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_mount_lsu"), leaving("stspi_mount_lsu")));
}

TEST_F(MountRequest, PlainNameIsGroupAndVolume) {
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_EQ(mount(server, "grp1", m_directory / "mnt"), 0);
    EXPECT_EQ(fs::read_symlink(m_directory / "mnt"), m_directory / "storage/grp1");
}

TEST_F(MountRequest, ModeZeroIsRefusedBeforeAnyPointerIsLookedAt) {
    EXPECT_EQ(stspi_mount_lsu(nullptr, nullptr, 0, 0, nullptr), STS_E_INVALID_PARAMETER);
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_EQ(mount(server, "grp1", m_directory / "mnt", 0), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_log.messages(), IsEmpty());
    expect_untouched_result();
}

TEST_F(MountRequest, EveryOtherModeMounts) {
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    for (const uint32_t mode : {1U, 2U, 3U, 0xffffffffU})
        EXPECT_EQ(mount(server, "grp1", m_directory / "mnt", mode), 0) << mode;
}

TEST_F(MountRequest, NullArguments) {
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    const stsp_lsu_v7_t lsu = server.lsu("grp1");
    const stsp_lsu_v7_t without_server{};
    const std::string mount_point = m_directory / "mnt";
    ready();
    EXPECT_EQ(stspi_mount_lsu(nullptr, mount_point.c_str(), 1, 0, m_result), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_mount_lsu(&without_server, mount_point.c_str(), 1, 0, m_result), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_mount_lsu(&lsu, nullptr, 1, 0, m_result), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_mount_lsu(&lsu, mount_point.c_str(), 1, 0, nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_log.messages(), IsEmpty());
    EXPECT_TRUE(fs::is_empty(m_directory.path()));
    expect_untouched_result();
}

TEST_F(MountRequest, LeadingColonIsInvalid) {
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_EQ(mount(server, ":disk7", m_directory / "mnt"), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_mount_lsu"), leaving("stspi_mount_lsu")));
    expect_untouched_result();
}

TEST_F(MountRequest, HandleWithoutADiskArrayIsInvalid) {
    configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=v;\nSTORAGE_DIR=" + m_directory.path() + ";\n");
    for (const char *name : {"copan:arr1", "Kelvarpool:"}) {
        const OpenedServer server(m_log.session(), name);
        EXPECT_EQ(mount(server, "v", m_directory / "mnt"), STS_E_INVALID_PARAMETER);
        expect_untouched_result();
    }
}

TEST_F(MountRequest, EveryConfiguredFailureIsASystemError) {
    for (const char *behavior :
         {"ALREADY_MOUNTED", "MOUNT_MODE_MISMATCH", "MAX_READ_MOUNTS_EXCEEDED", "MAX_WRITE_MOUNTS_EXCEEDED",
          "MOUNT_POINT_USED", "INVALID_FILESYS", "MOUNT_FAILED", ""}) {
        configure_array(pool("grp1", "disk7") + "MOUNT_BEHAVIOR=" + behavior + ";\n");
        const OpenedServer server(m_log.session(), "Kelvarpool:h1");
        EXPECT_EQ(mount(server, "grp1:disk7", m_directory / "mnt"), STS_E_SYSTEM) << behavior;
        EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_mount_lsu"), leaving("stspi_mount_lsu")));
        expect_untouched_result();
    }
}

TEST_F(MountRequest, UnknownGroupIsASystemErrorWithTheSimulatorsMessage) {
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_EQ(mount(server, "grp2:disk7", m_directory / "mnt"), STS_E_SYSTEM);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_mount_lsu"), error("Unknown Diskgroup: grp2\n"),
                                              leaving("stspi_mount_lsu")));
    expect_untouched_result();
}

TEST_F(MountRequest, FileSystemFailureIsASystemError) {
    fs::create_directories(m_directory / "mnt/full");
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_EQ(mount(server, "grp1", m_directory / "mnt"), STS_E_SYSTEM);
    expect_untouched_result();
}

TEST_F(MountRequest, ResultLongerThan1023BytesIsCut) {
    // A long mount point of short components, and a name that together with it exceeds the field.
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    std::string mount_point = m_directory.path();
    while (mount_point.size() < 900)
        mount_point += "/" + std::string(100, 'm');
    const std::string name = "grp1:" + std::string(200, 'v');
    EXPECT_EQ(mount(server, name, mount_point), 0);
    EXPECT_EQ(m_result, (name + "," + mount_point).substr(0, 1023));
    EXPECT_EQ(m_result[STS_MOUNT_RESULT_SIZE], '!');
}

TEST_F(MountRequest, OverlongTextsFailWithoutHarm) {
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_EQ(mount(server, "grp1:" + std::string(1019, 'v'), m_directory / "mnt"), STS_E_SYSTEM);
    EXPECT_EQ(mount(server, "grp1", "/" + std::string(5000, 'm')), STS_E_SYSTEM);
    expect_untouched_result();
}

TEST(UnmountLsu, AlwaysSucceeds) { EXPECT_EQ(stspi_unmount_lsu(), 0); }

TEST(UnmountLsu, NullArgumentsMakeNoDifference) {
    using Any = int32_t (*)(const void *, const void *, uint32_t, uint64_t);
    const auto unmount = reinterpret_cast<Any>(STSSANDiskEntryPoints2[STS_SLOT2_UNMOUNT_LSU]);
    EXPECT_EQ(unmount(nullptr, nullptr, 0, 0), 0);
}

}  // namespace
