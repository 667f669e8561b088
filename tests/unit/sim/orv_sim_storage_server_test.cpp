#include "sim/orv_sim_storage_server.h"

#include <sys/utsname.h>

#include <cerrno>
#include <filesystem>
#include <new>

#include "tests/support/system_double.h"
#include "tests/unit/sim/disk_array_test.h"

namespace {

using testing::HasSubstr;

std::string simulated_host_name() {
    struct utsname system;
    EXPECT_EQ(uname(&system), 0);
    return std::string(system.nodename) + ".quillmere.local";
}

constexpr char one_group[] = "DISKGROUP=dg1;\nDISKS=d1;\nVOLUMES=v1;\nHOSTS=h1;\n";

TEST(DiskArrayConstruction, ReadsTheFileOfTheNameBeforeTheColon) {
    const ConfigDirectory directory;
    directory.write("lab1", one_group);
    directory.write("array1", "DISKGROUP=wrong;\n");
    const CapturedOutput output;
    OrvSimStorageServer array("lab1:array1");
    EXPECT_NE(array.getPoolLSUInfo("dg1"), nullptr);
    EXPECT_EQ(array.getPoolLSUInfo("wrong"), nullptr);
    EXPECT_EQ(output.text(), "");
}

TEST(DiskArrayConstruction, NameWithoutColonIsReported) {
    const ConfigDirectory directory;
    directory.write("lab1", one_group);
    const CapturedOutput output;
    OrvSimStorageServer array("lab1");
    EXPECT_EQ(output.text(), "Error in server_name\n");
    EXPECT_EQ(array.getPoolLSUInfo("dg1"), nullptr);
    EXPECT_STREQ(array.get_server_name(), "");
}

TEST(DiskArrayConstruction, EmptyNamePrintsNothing) {
    const ConfigDirectory directory;
    const CapturedOutput output;
    OrvSimStorageServer array("");
    EXPECT_EQ(output.text(), "");
    EXPECT_STREQ(array.get_server_name(), "");
}

TEST(DiskArrayConstruction, MissingFilePrintsNothing) {
    const ConfigDirectory directory;
    const CapturedOutput output;
    OrvSimStorageServer array("lab1:array1");
    EXPECT_EQ(output.text(), "");
    EXPECT_STREQ(array.get_server_name(), "");
}

TEST(DiskArrayConstruction, UnameFailureIsReportedAndTheFileIsNotRead) {
    const ConfigDirectory directory;
    directory.write("lab1", std::string(one_group) + "MOUNT_BEHAVIOR=MOUNT_POINT_USED;\n");
    const CapturedOutput output;
    const FailingCall failing("uname", EFAULT);
    OrvSimStorageServer array("lab1:array1");
    EXPECT_EQ(output.text(), "Error getting hostname\n");
    EXPECT_EQ(array.getPoolLSUInfo("dg1"), nullptr);
    EXPECT_STREQ(array.get_server_name(), "");
    EXPECT_EQ(array.mountLSU("dg1", "v", 1, "localhost", "/nowhere"), -1);  // MOUNT_BEHAVIOR is still SUCCESS
}

size_t open_descriptors() {
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        ++count;
    return count;
}

TEST(DiskArrayConstruction, LeavesNoFileOpen) {
    const ConfigDirectory directory;
    directory.write("lab1", one_group);
    const CapturedOutput output;
    const size_t before = open_descriptors();
    const OrvSimStorageServer array("lab1:array1");
    EXPECT_EQ(open_descriptors(), before);
    const FailingCall failing("uname", EFAULT);
    const OrvSimStorageServer other("lab1:array1");
    EXPECT_EQ(open_descriptors(), before);
}

TEST(DiskArrayConstruction, EarlyStopLeavesTheDefaultMountBehavior) {
    const ConfigDirectory directory;
    const CapturedOutput output;
    for (const char *name : {"", "lab1", "lab1:array1"}) {
        OrvSimStorageServer array(name);
        EXPECT_EQ(array.mountLSU("unknown", "v", 1, "localhost", "/nowhere"), -1) << name;
    }
}

TEST(DiskArrayConstruction, EarlyStopLeavesAnArrayThatEveryOperationCanWalk) {
    const ConfigDirectory directory;
    OrvSimStorageServer array("lab1:array1");
    NameList hosts(1);
    hosts[0] = "h1";
    for (const bool any : {false, true}) {
        const std::unique_ptr<DiskGroupTable> pools(array.getPoolLSUList(&hosts, any));
        EXPECT_EQ(pools->size(), 0U);
    }
    EXPECT_EQ(array.getPoolLSUInfo("dg1"), nullptr);
    EXPECT_EQ(array.getDynamicLSUInfo("d1", nullptr), nullptr);
    array.adjustForPlugin();
    array.sync();
    EXPECT_THAT(directory.read("lab1"), HasSubstr("MOUNT_BEHAVIOR = SUCCESS;\n"));
}

TEST(DiskArray, ServerNameAndInfoAreTheHostNameWithItsDomain) {
    DiskArray array("");
    EXPECT_EQ(array->get_server_name(), simulated_host_name());
    const std::unique_ptr<std::string> info(array->getInfo());
    const std::unique_ptr<std::string> again(array->getInfo());
    EXPECT_EQ(*info, simulated_host_name());
    EXPECT_NE(info, again);  // the caller's own copy each time
}

TEST(DiskArray, QueriesLeaveAConstantArrayAsItIs) {
    DiskArray made(one_group);
    const OrvSimStorageServer &array = *made;
    const NameList hosts(1);
    const std::unique_ptr<DiskGroupTable> pools(array.getPoolLSUList(&hosts, true));
    EXPECT_EQ(pools->size(), 0U);
    EXPECT_NE(array.getPoolLSUInfo("dg1"), nullptr);
    EXPECT_EQ(array.getDynamicLSUInfo("no such disk", nullptr), nullptr);
    EXPECT_STREQ(c_text(array.getUDID("d1")), "d1");
    EXPECT_STREQ(c_text(array.getStorageElement("d1")), "d1");
    EXPECT_EQ(array.getStorageElementList(nullptr, 0, false), nullptr);
}

TEST(DiskArray, HandsOutNoLsuObjectsAndNoPaths) {
    DiskArray array(one_group);
    EXPECT_EQ(array->getLSUList(), nullptr);
    for (const char *name : {"", "dg1", "d1", "/x"}) {
        EXPECT_EQ(array->getLSU(name), nullptr);
        EXPECT_EQ(array->generate_path(name), nullptr);
    }
    EXPECT_EQ(array->getStorageElementList(nullptr, 3, true), nullptr);
}

TEST(DiskArray, OtherConfigurationNamesKeepTheirDiskGroups) {
    DiskArray array("DISKGROUP=dg1;\nENCLOSURE=enc1;\n");
    EXPECT_NE(array->getPoolLSUInfo("dg1"), nullptr);
    EXPECT_EQ(array->getPoolLSUInfo("enc1"), nullptr);
}

TEST(DiskArray, OperationsAreVirtualOperationsOfTheStorageServer) {
    DiskArray array("");
    StorageServer &server = *array;
    const std::unique_ptr<std::string> info(server.getInfo());
    EXPECT_EQ(*info, simulated_host_name());
    EXPECT_EQ(server.getLSUList(), nullptr);
}

TEST(DiskArray, TenThousandSectionsAreRead) {
    std::string text;
    for (int i = 0; i < 10000; ++i)
        text += "ENCLOSURE=e" + std::to_string(i) + ";\nDISKS=d" + std::to_string(i) + ";\nHOSTS=h;\n";
    DiskArray array(text, "Kelvarpool");
    NameList hosts(1);
    hosts[0] = "h";
    const std::unique_ptr<DiskGroupTable> pools(array->getPoolLSUList(&hosts, true));
    ASSERT_EQ(pools->size(), 10000U);
    EXPECT_STREQ(c_text((*pools)[0].name), "e9999");
    EXPECT_STREQ(c_text((*pools)[9999].name), "e0");
}

}  // namespace
