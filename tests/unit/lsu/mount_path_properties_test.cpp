#include "lsu/mount_path_properties.h"

#include <sys/statvfs.h>

#include "plugin/server_handle.h"
#include "tests/support/file_system_double.h"
#include "tests/unit/lsu/lsu_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ValidatePath, LengthsFrom1To1024AreValid) {
    EXPECT_EQ(validate_path("/"), 0);
    EXPECT_EQ(validate_path("x"), 0);
    EXPECT_EQ(validate_path(std::string(1024, 'p').c_str()), 0);
}

TEST(ValidatePath, LongerOrEmptyIsMinusTwo) {
    EXPECT_EQ(validate_path(""), -2);
    EXPECT_EQ(validate_path(std::string(1025, 'p').c_str()), -2);
    EXPECT_EQ(validate_path(std::string(100000, 'p').c_str()), -2);
}

TEST(ValidatePath, NullIsMinusOne) { EXPECT_EQ(validate_path(nullptr), -1); }

class MountPathProperties : public LsuTest {
protected:
    MountPathProperties() {
        m_handle.session = m_log.session();
        std::strcpy(m_handle.host_name, "host.name");
    }

    int32_t get(const std::string &path) {
        stsp_lsu_v7_t lsu{};
        lsu.server = &m_handle;
        path.copy(lsu.lsu_name, sizeof lsu.lsu_name);
        return get_mount_path_prop(&lsu, &m_info);
    }

    ServerHandle m_handle;
    sts_lsu_info_v9_t m_info = marked<sts_lsu_info_v9_t>();
};

TEST_F(MountPathProperties, TellsTheFileSystemsSizes) {
    sts_lsu_info_v9_t expected = m_info;
    // Read before and after: on a busy machine the free blocks may change between two looks, and back.
    struct statvfs before;
    struct statvfs after;
    int32_t status = 0;
    int tries = 0;
    uint64_t used = 0;
    do {
        m_info = marked<sts_lsu_info_v9_t>();
        ASSERT_EQ(statvfs(m_directory.path().c_str(), &before), 0);
        status = get(m_directory.path());
        ASSERT_EQ(statvfs(m_directory.path().c_str(), &after), 0);
        used = (before.f_blocks - before.f_bavail) * before.f_frsize;
    } while (++tries < 1000 && (before.f_bavail != after.f_bavail || m_info.used_bytes != used));
    EXPECT_EQ(status, 0);
    std::strcpy(expected.server_name, "host.name");
    expected.lsu_class = STS_LSU_CLASS_PATH;
    expected.flags |= STS_LSU_FLAG_PATH;
    expected.block_size_bytes = before.f_frsize;
    expected.capacity_bytes = before.f_frsize * before.f_blocks;
    expected.used_bytes = used;
    EXPECT_EQ(std::memcmp(&m_info, &expected, sizeof expected), 0);  // nothing else is written
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(MountPathProperties, CountsFragmentsAndTheBlocksThatEveryoneMayUse) {
    struct statvfs answer {};
    answer.f_bsize = 4096;  // how much to write at once: not what the counts are in
    answer.f_frsize = 1000;
    answer.f_blocks = 700;
    answer.f_bfree = 400;  // some of them for root alone
    answer.f_bavail = 300;
    answer.f_files = 50;
    answer.f_ffree = 20;
    answer.f_favail = 10;
    const FileSystemDouble file_system(answer);
    sts_lsu_info_v9_t expected = m_info;
    EXPECT_EQ(get("/anywhere"), 0);
    EXPECT_EQ(file_system.path(), "/anywhere");
    std::strcpy(expected.server_name, "host.name");
    expected.lsu_class = 1;
    expected.flags |= 0x80;
    expected.block_size_bytes = 1000;
    expected.capacity_bytes = 700000;
    expected.used_bytes = 400000;
    EXPECT_EQ(std::memcmp(&m_info, &expected, sizeof expected), 0);
}

TEST_F(MountPathProperties, SizesBeyond32BitsAreWhole) {
    struct statvfs answer {};
    answer.f_frsize = 65536;
    answer.f_blocks = 0x500000001;
    answer.f_bavail = 0x300000000;
    const FileSystemDouble file_system(answer);
    EXPECT_EQ(get("/"), 0);
    EXPECT_EQ(m_info.capacity_bytes, 0x5000000010000U);
    EXPECT_EQ(m_info.used_bytes, 0x2000000010000U);
}

TEST_F(MountPathProperties, FlagIsAddedToTheCallersFlags) {
    m_info.flags = 0x300;
    EXPECT_EQ(get(m_directory.path()), 0);
    EXPECT_EQ(m_info.flags, 0x380U);
}

TEST_F(MountPathProperties, MissingPathIsASystemError) {
    sts_lsu_info_v9_t expected = m_info;
    const std::string path = m_directory / "missing";
    EXPECT_EQ(get(path), STS_E_SYSTEM);
    std::strcpy(expected.server_name, "host.name");
    expected.block_size_bytes = 512;
    EXPECT_EQ(std::memcmp(&m_info, &expected, sizeof expected), 0);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("Error calling statvfs, LSU name is: "), error(path)));
}

TEST_F(MountPathProperties, EmptyPathIsInvalid) {
    sts_lsu_info_v9_t expected = m_info;
    EXPECT_EQ(get(""), -2);
    std::strcpy(expected.server_name, "host.name");
    expected.block_size_bytes = 512;
    EXPECT_EQ(std::memcmp(&m_info, &expected, sizeof expected), 0);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("STS: Invalid path name")));
}

TEST_F(MountPathProperties, PathThatFillsItsFieldIsReadToItsEnd) {
    const std::string path = "/" + std::string(1023, 'p');
    EXPECT_EQ(get(path), STS_E_SYSTEM);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("Error calling statvfs, LSU name is: "), error(path)));
}

}  // namespace
