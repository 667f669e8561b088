// The numbers of the framework, written out: every other test takes them from the header, where they could be wrong.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "stspi/stspi.h"

namespace {

const std::map<std::string, int> framework_numbers = {
    {"STS_E_INVALID_PARAMETER", 2060001},
    {"STS_E_VERSION", 2060008},
    {"STS_E_NOT_CLAIMED", 2060009},
    {"STS_E_NO_MORE_ENTRIES", 2060013},
    {"STS_E_NOT_SUPPORTED", 2060016},
    {"STS_E_SYSTEM", 2060017},
    {"STS_E_NOT_FOUND", 2060022},
    {"STS_E_INTERNAL", 2060026},
    {"STS_E_ALREADY_MOUNTED", 2061024},
    {"STS_E_MOUNT_MODE_MISMATCH", 2061025},
    {"STS_E_MAX_READ_MOUNTS_EXCEEDED", 2061026},
    {"STS_E_MAX_WRITE_MOUNTS_EXCEEDED", 2061027},
    {"STS_E_MOUNT_POINT_USED", 2061028},
    {"STS_E_MOUNT_FAILED", 2061029},
    {"STS_E_INVALID_FILESYS", 2061030},
    {"STS_E_NO_SERVER", 2061034},
};

TEST(StatusNumbers, AreTheFrameworks) {
    const std::map<std::string, int> header = {
#define STATUS(name, number, meaning) {#name, name},
        STS_STATUS_LIST(STATUS)
#undef STATUS
    };
    EXPECT_EQ(header, framework_numbers);
}

TEST(StatusNumbers, OfCallsThatNeedNoServer) {
    EXPECT_EQ(stspi_init(6, nullptr, nullptr), 2060008);
    EXPECT_EQ(stspi_init(7, nullptr, nullptr), 2060001);
    EXPECT_EQ(stspi_init2(8, nullptr), 2060008);
    EXPECT_EQ(stspi_init2(9, nullptr), 2060001);
    EXPECT_EQ(stspi_claim(nullptr), 2060009);
    EXPECT_EQ(stspi_ioctl(nullptr, 8), 2060016);
    EXPECT_EQ(stspi_close_server(nullptr), 2060001);
    EXPECT_EQ(stspi_close_lsu_list(nullptr), 2060001);
    EXPECT_EQ(stspi_mount_lsu(nullptr, nullptr, 0, 0, nullptr), 2060001);
    EXPECT_EQ(stspi_copy_extent(nullptr, 0, nullptr, 0, 0, nullptr, nullptr), 2060001);
}

TEST(Ioctl, AcceptsTwelveCommandsButTheEighth) {
    for (int32_t command = -70; command <= 70; ++command) {
        const bool is_accepted = command >= 1 && command <= 12 && command != 8;
        EXPECT_EQ(stspi_ioctl(nullptr, command), is_accepted ? 0 : STS_E_NOT_SUPPORTED) << command;
    }
    for (const int32_t command : {INT32_MIN, INT32_MIN + 1, INT32_MAX})
        EXPECT_EQ(stspi_ioctl(nullptr, command), STS_E_NOT_SUPPORTED) << command;
}

TEST(LogNumbers, AreTheFrameworks) {
    EXPECT_EQ(STS_LOG_MASK_TRACE, 0x1);
    EXPECT_EQ(STS_LOG_MASK_ERROR, 0x8);
    EXPECT_EQ(STS_LOG_LEVEL_TRACE, 3);
    EXPECT_EQ(STS_LOG_LEVEL_ERROR, 4);
}

TEST(LsuNumbers, AreTheFrameworks) {
    EXPECT_EQ(STS_LSU_CLASS_PATH, 1);
    EXPECT_EQ(STS_LSU_CLASS_DYNAMIC, 2);
    EXPECT_EQ(STS_LSU_CLASS_POOL, 3);
    EXPECT_EQ(STS_LSU_FLAG_STANDARD, 1);
    EXPECT_EQ(STS_LSU_FLAG_PATH, 0x80);
    EXPECT_EQ(STS_SERVER_TYPE_COPAN, 4);
}

}  // namespace
