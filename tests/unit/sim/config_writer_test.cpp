#include <cerrno>
#include <filesystem>

#include "tests/unit/sim/disk_array_test.h"

namespace {

TEST(Sync, WholeModel) {
    DiskArray array(
        "DISKGROUP = dg1;\n"
        "\tDISKS = d1,d2;\n"
        "\tHOSTS = hostA,hostB;\n"
        "\tVOLUMES = vol1,vol2;\n"
        "\tDISK_SIZE = 10G;\n"
        "\tVOLUME_SIZE = 512M;\n"
        "\tSTORAGE_DIR = /var/tmp/dg1;\n"
        "\n"
        "ENCLOSURE = enc1;\n"
        "\tDISKS = e1,e2;\n"
        "\tHOSTS = hostA;\n"
        "\tSTORAGE_DIR = /var/tmp/enc1;\n"
        "\tDISK_SIZE = 2T;\n"
        "\n"
        "MOUNT_PATH = /mnt/sim;\n"
        "MOUNT_BEHAVIOR = SUCCESS;\n"
        "UDID_TOKEN = tok1;\n");
    EXPECT_EQ(array.saved(),
              "DISKGROUP = dg1;\n"
              "\tDISKS = d1,d2;\n"
              "\tHOSTS = hostB,hostA;\n"
              "\tVOLUMES = vol1,vol2;\n"
              "\tSTORAGE_DIR = /var/tmp/dg1;\n"
              "\n"
              "ENCLOSURE = enc1;\n"
              "\tDISKS = e1,e2;\n"
              "\tHOSTS = hostA;\n"
              "\n"
              "\tMOUNT_BEHAVIOR = SUCCESS;\n");
}

TEST(Sync, EveryEnclosureInTheOrderOfTheFile) {
    DiskArray array("ENCLOSURE = enc1;\nDISKS = a;\nENCLOSURE = enc2;\nDISKS = b;\nENCLOSURE = enc3;\nDISKS = c;\n");
    const std::string saved = array.saved();
    const size_t first = saved.find("ENCLOSURE = enc1;\n\tDISKS = a;\n");
    const size_t second = saved.find("ENCLOSURE = enc2;\n\tDISKS = b;\n");
    const size_t third = saved.find("ENCLOSURE = enc3;\n\tDISKS = c;\n");
    EXPECT_LT(first, second);
    EXPECT_LT(second, third);
    EXPECT_NE(third, std::string::npos);
}

TEST(Sync, WrittenFileReadsBackWithDefaultsForWhatIsNotWritten) {
    DiskArray first("DISKGROUP=dg1;\nDISKS=d1,d2;\nDISK_SIZE=1G;\nVOLUME_SIZE=1G;\nUDID_TOKEN=t;\nMOUNT_PATH=/m;\n");
    DiskArray second(first.saved());
    const diskgroup_t *group = second->getPoolLSUInfo("dg1");
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(joined_names(group->disks), "d1,d2");
    EXPECT_EQ(group->disk_size, 0U);
    EXPECT_EQ(group->volume_size, 104857600U);
    EXPECT_STREQ(c_text(second->getUDID("d1")), "d1");
}

TEST(Sync, HostsComeBackInTheirOrderAfterTwoRounds) {
    DiskArray first("DISKGROUP=dg1;\nHOSTS=a,b,c;\n");
    DiskArray second(first.saved());
    DiskArray third(second.saved());
    EXPECT_EQ(first.saved(), third.saved());
    EXPECT_NE(first.saved(), second.saved());
}

TEST(Sync, EmptyPartsOfADiskGroupGetNoLine) {
    EXPECT_EQ(DiskArray("DISKGROUP=dg1;\n").saved(), "DISKGROUP = dg1;\n\n\tMOUNT_BEHAVIOR = SUCCESS;\n");
}

TEST(Sync, EmptyHostSetOfADiskGroupGetsNoLine) {
    EXPECT_EQ(DiskArray("DISKGROUP=dg1;\nHOSTS=\n").saved(), "DISKGROUP = dg1;\n\n\tMOUNT_BEHAVIOR = SUCCESS;\n");
}

TEST(Sync, StorageDirOfALoneSemicolonGetsNoLine) {
    EXPECT_EQ(DiskArray("DISKGROUP=dg1;\nSTORAGE_DIR=;\n").saved(),
              "DISKGROUP = dg1;\n\n\tMOUNT_BEHAVIOR = SUCCESS;\n");
}

TEST(Sync, EmptyPartsOfAnEnclosureGetTheirLines) {
    EXPECT_EQ(DiskArray("ENCLOSURE=enc1;\n").saved(),
              "ENCLOSURE = enc1;\n\tDISKS = ;\n\tHOSTS = ;\n\n\tMOUNT_BEHAVIOR = SUCCESS;\n");
    EXPECT_EQ(DiskArray("ENCLOSURE=enc1;\nHOSTS=\n").saved(),
              "ENCLOSURE = enc1;\n\tDISKS = ;\n\tHOSTS = ;\n\n\tMOUNT_BEHAVIOR = SUCCESS;\n");
}

TEST(Sync, StorageDirOfAnEnclosureIsNotWritten) {
    EXPECT_THAT(DiskArray("ENCLOSURE=enc1;\nSTORAGE_DIR=/x;\n").saved(), testing::Not(testing::HasSubstr("/x")));
}

TEST(Sync, EmptyMountBehaviorIsNotWritten) {
    EXPECT_EQ(DiskArray("MOUNT_BEHAVIOR=\n").saved(), "");
    EXPECT_EQ(DiskArray("MOUNT_BEHAVIOR=;\n").saved(), "");
}

TEST(Sync, MountBehaviorIsWrittenWithoutTheNulOfItsSemicolon) {
    EXPECT_EQ(DiskArray("MOUNT_BEHAVIOR=MOUNT_POINT_USED;\n").saved(), "\tMOUNT_BEHAVIOR = MOUNT_POINT_USED;\n");
}

TEST(Sync, DiskWithoutANameIsWritten) {
    EXPECT_EQ(DiskArray("DISKGROUP=dg1;\nDISKS=;\n").saved(),
              "DISKGROUP = dg1;\n\tDISKS = ;\n\n\tMOUNT_BEHAVIOR = SUCCESS;\n");
}

TEST(Sync, LongerFileIsTruncated) {
    DiskArray array("DISKGROUP=dg1;\n" + std::string(5000, '\n'));
    EXPECT_EQ(array.saved(), "DISKGROUP = dg1;\n\n\tMOUNT_BEHAVIOR = SUCCESS;\n");
}

TEST(Sync, FileThatCannotBeOpenedIsLeftAlone) {
    DiskArray array("DISKGROUP=dg1;\n");
    const std::string path = array.directory().path("lab1");
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(array->sync(), EISDIR);
    EXPECT_TRUE(std::filesystem::is_empty(path));
    EXPECT_NE(array->getPoolLSUInfo("dg1"), nullptr);
}

TEST(Sync, WriteOrCloseThatFailsIsTold) {
    // Short enough to stay in the stream until it is closed, or long enough to be written before.
    for (const size_t pools : {1U, 10000U}) {
        std::string text;
        for (size_t i = 0; i < pools; ++i)
            text += "DISKGROUP=dg" + std::to_string(i) + ";\n";
        DiskArray array(text);
        EXPECT_EQ(array->sync(), 0);
        const std::string path = array.directory().path("lab1");
        std::filesystem::remove(path);
        std::filesystem::create_symlink("/dev/full", path);
        EXPECT_EQ(array->sync(), ENOSPC) << pools;
    }
}

TEST(Sync, ArrayWithoutAConfigurationNameWritesNothing) {
    const ConfigDirectory directory;
    const CapturedOutput output;
    for (const char *name : {"", "lab1"}) {
        const OrvSimStorageServer array(name);
        EXPECT_EQ(array.sync(), 0);
    }
    const std::filesystem::path path = directory.path("x");
    EXPECT_TRUE(std::filesystem::is_empty(path.parent_path()));
}

TEST(Sync, ListsLongerThanALineAreWrittenWhole) {
    std::string disks;
    std::string text = "DISKGROUP=dg1;\n";
    for (int line = 0; line < 4; ++line) {
        text += "DISKS=";
        for (int disk = 0; disk < 100; ++disk)
            text += "disk" + std::to_string(disk) + ",";
        text += ";\n";
        for (int disk = 0; disk < 100; ++disk)
            disks += "disk" + std::to_string(disk) + ",";
        disks += ",";  // the piece of the lone ';'
    }
    disks.pop_back();
    EXPECT_THAT(DiskArray(text).saved(), testing::HasSubstr("\tDISKS = " + disks + ";\n"));
}

}  // namespace
