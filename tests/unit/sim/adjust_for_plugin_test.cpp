#include "tests/unit/sim/disk_array_test.h"

namespace {

constexpr char three_groups[] =
    "DISKGROUP=dg1;\nDISKS=x1;\nHOSTS=old1;\nVOLUMES=v1;\nDISK_SIZE=1;\nVOLUME_SIZE=2;\nSTORAGE_DIR=/old1;\n"
    "DISKGROUP=dg2;\nDISKS=x2;\nHOSTS=old2;\n"
    "DISKGROUP=dg3;\nDISKS=x3;\nHOSTS=old3;\n";

constexpr char two_enclosures[] =
    "ENCLOSURE=enc1;\nDISKS=e1,e2;\nHOSTS=hA,hB;\nDISK_SIZE=10G;\nSTORAGE_DIR=/new1;\n"
    "ENCLOSURE=enc2;\nDISKS=e3;\nHOSTS=hC;\nDISK_SIZE=7;\n";

std::string all_groups(DiskArray &array) {
    const std::string saved = array.saved("Kelvarpool");
    return saved.substr(0, saved.find("ENCLOSURE"));
}

TEST(AdjustForPlugin, EnclosuresReplaceTheDiskGroups) {
    DiskArray array(std::string(three_groups) + two_enclosures, "Kelvarpool");
    EXPECT_EQ(all_groups(array),
              "DISKGROUP = enc1;\n\tDISKS = e1,e2;\n\tHOSTS = hA,hB;\n\tVOLUMES = e1,e2;\n\tSTORAGE_DIR = /new1;\n\n"
              "DISKGROUP = enc2;\n\tDISKS = e3;\n\tHOSTS = hC;\n\tVOLUMES = e3;\n\n");
    const diskgroup_t *group = array->getPoolLSUInfo("enc1");
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->disk_size, 10737418240U);
    EXPECT_EQ(group->volume_size, 10737418240U);
    EXPECT_EQ(array->getPoolLSUInfo("enc2")->volume_size, 7U);
    for (const char *gone : {"dg1", "dg2", "dg3"})
        EXPECT_EQ(array->getPoolLSUInfo(gone), nullptr);
}

TEST(AdjustForPlugin, WithoutEnclosuresNoDiskGroupIsLeft) {
    DiskArray array(three_groups, "Kelvarpool");
    EXPECT_EQ(all_groups(array), "\tMOUNT_BEHAVIOR = SUCCESS;\n");
}

TEST(AdjustForPlugin, WithoutDiskGroupsTheEnclosuresMakeThem) {
    DiskArray array(two_enclosures, "Kelvarpool");
    EXPECT_NE(array->getPoolLSUInfo("enc1"), nullptr);
    EXPECT_NE(array->getPoolLSUInfo("enc2"), nullptr);
}

TEST(AdjustForPlugin, OtherConfigurationNamesAreLeftAlone) {
    for (const char *name : {"lab1", "kelvarpool", "Kelvarpool2", "Kelvar"}) {
        DiskArray array(std::string(three_groups) + two_enclosures, name);
        EXPECT_NE(array->getPoolLSUInfo("dg1"), nullptr) << name;
        EXPECT_NE(array->getPoolLSUInfo("dg3"), nullptr) << name;
        EXPECT_EQ(array->getPoolLSUInfo("enc1"), nullptr) << name;
    }
}

TEST(AdjustForPlugin, HostsComeInTheOrderOfTheFile) {
    DiskArray array("ENCLOSURE=enc1;\nHOSTS=c,a,b;\n", "Kelvarpool");
    EXPECT_EQ(joined_names(array->getPoolLSUInfo("enc1")->hosts), "c,a,b");
}

TEST(AdjustForPlugin, EveryHostIsBoundToOne) {
    DiskArray array("ENCLOSURE=enc1;\nHOSTS=a,b;\n", "Kelvarpool");
    int value = 0;
    EXPECT_EQ(array->getPoolLSUInfo("enc1")->hosts->find("a", value), 0);
    EXPECT_EQ(value, 1);
}

TEST(AdjustForPlugin, EnclosureWithoutHostsKeepsThoseOfTheDiskGroupInItsPlace) {
    DiskArray array("DISKGROUP=dg1;\nHOSTS=old;\nENCLOSURE=enc1;\nENCLOSURE=enc2;\n", "Kelvarpool");
    EXPECT_EQ(joined_names(array->getPoolLSUInfo("enc1")->hosts), "old");
    EXPECT_EQ(array->getPoolLSUInfo("enc2")->hosts, nullptr);
}

TEST(AdjustForPlugin, EmptyHostSetBecomesAnEmptyHostSet) {
    DiskArray array("DISKGROUP=dg1;\nHOSTS=old;\nENCLOSURE=enc1;\nHOSTS=\n", "Kelvarpool");
    ASSERT_NE(array->getPoolLSUInfo("enc1")->hosts, nullptr);
    EXPECT_EQ(array->getPoolLSUInfo("enc1")->hosts->current_size(), 0U);
}

TEST(AdjustForPlugin, EnclosureWithoutDisksGivesAGroupWithoutDisksAndVolumes) {
    DiskArray array("DISKGROUP=dg1;\nDISKS=a;\nVOLUMES=b;\nENCLOSURE=enc1;\n", "Kelvarpool");
    EXPECT_EQ(array->getPoolLSUInfo("enc1")->disks->size(), 0U);
    EXPECT_EQ(array->getPoolLSUInfo("enc1")->volumes->size(), 0U);
}

TEST(AdjustForPlugin, EnclosureWithoutSizeAndDirectoryClearsThoseOfTheDiskGroupInItsPlace) {
    DiskArray array("DISKGROUP=dg1;\nDISK_SIZE=5;\nVOLUME_SIZE=6;\nSTORAGE_DIR=/old;\nENCLOSURE=enc1;\n", "Kelvarpool");
    const diskgroup_t *group = array->getPoolLSUInfo("enc1");
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->disk_size, 0U);
    EXPECT_EQ(group->volume_size, 0U);
    EXPECT_STREQ(c_text(group->storage_dir), "");
}

TEST(AdjustForPlugin, CopiesAreTheGroupsOwn) {
    DiskArray array(two_enclosures, "Kelvarpool");
    (*array->getPoolLSUInfo("enc1")->disks)[0] = "changed";
    EXPECT_EQ(joined_names(array->getPoolLSUInfo("enc1")->volumes), "e1,e2");
    EXPECT_THAT(array.saved("Kelvarpool"), testing::HasSubstr("ENCLOSURE = enc1;\n\tDISKS = e1,e2;\n"));
}

TEST(AdjustForPlugin, CalledAgainChangesNothing) {
    DiskArray array(std::string(three_groups) + two_enclosures, "Kelvarpool");
    const std::string before = array.saved("Kelvarpool");
    array->adjustForPlugin();
    EXPECT_EQ(array.saved("Kelvarpool"), before);
}

}  // namespace
