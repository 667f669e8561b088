#include "tests/unit/sim/disk_array_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

NameList name_list(const std::vector<std::string> &names) {
    NameList list(names.size());
    for (size_t i = 0; i < names.size(); ++i)
        list[i] = names[i].c_str();
    return list;
}

std::vector<std::string> pools(DiskArray &array, const std::vector<std::string> &hosts, bool match_any) {
    const NameList list = name_list(hosts);
    const std::unique_ptr<DiskGroupTable> found(array->getPoolLSUList(&list, match_any));
    std::vector<std::string> names;
    for (size_t i = 0; i < found->size(); ++i) {
        const diskgroup_t &group = (*found)[i];
        names.emplace_back(c_text(group.name));
        EXPECT_TRUE(group.disks == nullptr && group.hosts == nullptr && group.volumes == nullptr);
        EXPECT_TRUE(group.disk_size == 0 && group.volume_size == 0 && is_empty_text(group.storage_dir));
    }
    return names;
}

// ---- getPoolLSUList ----------------------------------------------------------------------------------------------

TEST(NameCount, OfNoListIsNone) {
    const NameList three = name_list({"a", "b", "c"});
    EXPECT_EQ(name_count(&three), 3U);
    EXPECT_EQ(name_count(nullptr), 0U);
}

TEST(GetPoolLsuList, OneHostFindsItsGroupsInReverseOrder) {
    DiskArray array("DISKGROUP=A;\nHOSTS=h1;\nDISKGROUP=B;\nHOSTS=h2;\nDISKGROUP=C;\nHOSTS=h1,h2;\n");
    EXPECT_THAT(pools(array, {"h1"}, true), ElementsAre("C", "A"));
    EXPECT_THAT(pools(array, {"h1"}, false), ElementsAre("C", "A"));
}

TEST(GetPoolLsuList, AllGroupsComeInReverseOrder) {
    DiskArray array("DISKGROUP=dg1;\nHOSTS=h;\nDISKGROUP=dg2;\nHOSTS=h;\nDISKGROUP=dg3;\nHOSTS=h;\n");
    EXPECT_THAT(pools(array, {"h"}, true), ElementsAre("dg3", "dg2", "dg1"));
}

TEST(GetPoolLsuList, AnyOrAllOfTheHosts) {
    DiskArray array("DISKGROUP=A;\nHOSTS=h1,h2;\nDISKGROUP=B;\nHOSTS=h1;\n");
    EXPECT_THAT(pools(array, {"h1", "h2"}, true), ElementsAre("B", "A"));
    EXPECT_THAT(pools(array, {"h1", "h2"}, false), ElementsAre("A"));
    EXPECT_THAT(pools(array, {"unknown", "h2"}, true), ElementsAre("A"));
    EXPECT_THAT(pools(array, {"unknown", "h2"}, false), IsEmpty());
}

TEST(GetPoolLsuList, EmptyHostListFindsNothing) {
    DiskArray array("DISKGROUP=A;\nHOSTS=h1;\n");
    EXPECT_THAT(pools(array, {}, true), IsEmpty());
    EXPECT_THAT(pools(array, {}, false), IsEmpty());
}

TEST(GetPoolLsuList, ArrayWithoutGroupsFindsNothing) {
    DiskArray array("MOUNT_BEHAVIOR=SUCCESS;\n");
    EXPECT_THAT(pools(array, {"h1"}, true), IsEmpty());
    EXPECT_THAT(pools(array, {"h1"}, false), IsEmpty());
}

TEST(GetPoolLsuList, GroupWithoutHostsIsPassedOver) {
    DiskArray array("DISKGROUP=A;\nDISKGROUP=B;\nHOSTS=h1;\n");
    EXPECT_THAT(pools(array, {"h1"}, true), ElementsAre("B"));
    EXPECT_THAT(pools(array, {"h1"}, false), ElementsAre("B"));
}

TEST(GetPoolLsuList, SharedNameComesOnceInThePlaceOfItsFirstGroup) {
    DiskArray array("DISKGROUP=A;\nHOSTS=h1;\nDISKGROUP=B;\nHOSTS=h1;\nDISKGROUP=A;\nHOSTS=h1;\n");
    EXPECT_THAT(pools(array, {"h1"}, true), ElementsAre("B", "A"));
}

TEST(GetPoolLsuList, HostNamesAreComparedExactly) {
    DiskArray array("DISKGROUP=A;\nHOSTS=h1;\n");
    EXPECT_THAT(pools(array, {"H1"}, true), IsEmpty());
    EXPECT_THAT(pools(array, {"h"}, true), IsEmpty());
    EXPECT_THAT(pools(array, {"h11"}, true), IsEmpty());
}

TEST(GetPoolLsuList, MoreThan1024GroupsAreListed) {
    std::string text;
    for (int i = 0; i < 1500; ++i)
        text += "DISKGROUP=g" + std::to_string(i) + ";\nHOSTS=h;\n";
    DiskArray array(text);
    const std::vector<std::string> names = pools(array, {"h"}, true);
    ASSERT_EQ(names.size(), 1500U);
    EXPECT_EQ(names.front(), "g1499");
    EXPECT_EQ(names.back(), "g0");
}

// ---- getPoolLSUInfo ----------------------------------------------------------------------------------------------

TEST(GetPoolLsuInfo, GivesTheArraysOwnRecord) {
    DiskArray array("DISKGROUP=A;\nDISKS=d1;\n");
    const diskgroup_t *group = array->getPoolLSUInfo("A");
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(joined_names(group->disks), "d1");
    EXPECT_EQ(array->getPoolLSUInfo("A"), group);
}

TEST(GetPoolLsuInfo, FirstGroupOfANameWins) {
    DiskArray array("DISKGROUP=A;\nDISKS=first;\nDISKGROUP=A;\nDISKS=second;\n");
    EXPECT_EQ(joined_names(array->getPoolLSUInfo("A")->disks), "first");
}

TEST(GetPoolLsuInfo, NullOrUnknownNameGivesNull) {
    DiskArray array("DISKGROUP=A;\nDISKGROUP=Abc;\n");
    for (const char *name : {static_cast<const char *>(nullptr), "", "unknown", "a", "ABC", "Ab", "Abcd"})
        EXPECT_EQ(array->getPoolLSUInfo(name), nullptr) << (name != nullptr ? name : "null");
}

TEST(GetPoolLsuInfo, ArrayWithoutGroupsGivesNull) {
    DiskArray array("MOUNT_BEHAVIOR=SUCCESS;\n");
    EXPECT_EQ(array->getPoolLSUInfo(""), nullptr);
}

// ---- getUDID -----------------------------------------------------------------------------------------------------

TEST(GetUdid, WithoutTokenIsTheName) {
    for (const char *text : {"DISKGROUP=A;\n", "UDID_TOKEN=\n", "UDID_TOKEN=;\n"}) {
        DiskArray array(text);
        EXPECT_STREQ(c_text(array->getUDID("disk7")), "disk7") << text;
        EXPECT_STREQ(c_text(array->getUDID("")), "") << text;
    }
}

TEST(GetUdid, WithTokenIsMadeOfBoth) {
    DiskArray array("UDID_TOKEN=TK;\n");
    EXPECT_STREQ(c_text(array->getUDID("disk7")), "#UDID#TK#disk7#");
    EXPECT_EQ(array->getUDID("disk7").length(), 15U);  // no NUL of the token's ';' inside
}

TEST(GetUdid, EmptyNameWithToken) {
    DiskArray array("UDID_TOKEN=A1;\n");
    EXPECT_STREQ(c_text(array->getUDID("")), "#UDID#A1##");
}

TEST(GetUdid, EachTextIsACopy) {
    DiskArray array("UDID_TOKEN=A1;\n");
    const Name first = array->getUDID("dg01");
    const Name second = array->getUDID("x");
    EXPECT_STREQ(c_text(first), "#UDID#A1#dg01#");
    EXPECT_STREQ(c_text(second), "#UDID#A1#x#");
}

TEST(GetUdid, NameLongerThanTheSharedRoomIsWhole) {
    DiskArray array("UDID_TOKEN=A1;\n");
    const std::string name(100000, 'n');
    EXPECT_EQ(c_text(array->getUDID(name.c_str())), "#UDID#A1#" + name + "#");
    EXPECT_STREQ(c_text(array->getUDID("dg01")), "#UDID#A1#dg01#");
}

// ---- getDynamicLSUInfo -------------------------------------------------------------------------------------------

TEST(GetDynamicLsuInfo, DiskByName) {
    DiskArray array("UDID_TOKEN=TK;\nDISKGROUP=A;\nDISKS=disk6;\nDISKGROUP=B;\nDISKS=x,disk7;\nVOLUME_SIZE=1001;\n");
    const std::unique_ptr<DynamicLSUInfo> info(array->getDynamicLSUInfo("disk7", "ignored"));
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(c_text(info->name), "disk7");
    EXPECT_STREQ(c_text(info->id), "#UDID#TK#disk7#");
    EXPECT_EQ(info->capacity, 1001U);
    EXPECT_EQ(info->fs_size, 1001U);
    EXPECT_EQ(info->free_space, 500U);
}

TEST(GetDynamicLsuInfo, DiskByUdid) {
    DiskArray array("UDID_TOKEN=TK;\nDISKGROUP=A;\nDISKS=disk7;\n");
    const std::unique_ptr<DynamicLSUInfo> info(array->getDynamicLSUInfo("#UDID#TK#disk7#", nullptr));
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(c_text(info->name), "disk7");
    EXPECT_EQ(info->capacity, 104857600U);
    EXPECT_EQ(info->fs_size, 104857600U);
    EXPECT_EQ(info->free_space, 52428800U);
}

TEST(GetDynamicLsuInfo, WithoutTokenTheIdIsTheName) {
    DiskArray array("DISKGROUP=A;\nDISKS=disk7;\n");
    const std::unique_ptr<DynamicLSUInfo> info(array->getDynamicLSUInfo("disk7", nullptr));
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(c_text(info->id), "disk7");
}

TEST(GetDynamicLsuInfo, WithoutTokenNoNameIsAUdid) {
    DiskArray array("DISKGROUP=A;\nDISKS=disk7;\n");
    EXPECT_EQ(array->getDynamicLSUInfo("#UDID##disk7#", nullptr), nullptr);
}

TEST(GetDynamicLsuInfo, UdidOfADiskWithoutAName) {
    DiskArray array("UDID_TOKEN=TK;\nDISKGROUP=A;\nDISKS=;\nVOLUME_SIZE=8;\n");
    const std::unique_ptr<DynamicLSUInfo> info(array->getDynamicLSUInfo("#UDID#TK##", nullptr));
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(c_text(info->name), "");
    const std::unique_ptr<DynamicLSUInfo> by_name(array->getDynamicLSUInfo("", nullptr));
    EXPECT_NE(by_name, nullptr);
}

TEST(GetDynamicLsuInfo, AlmostAUdidIsUnknown) {
    DiskArray array("UDID_TOKEN=TK;\nDISKGROUP=A;\nDISKS=disk7,#;\n");
    for (const char *name : {"#UDID#TK#disk7", "#UDID#TK#disk7x", "#UDID#TK#disk7 ", "UDID#TK#disk7#",
                             "#UDID#TX#disk7#", "#UDID#TK#disk8#", "#UDID#TK#", "#UDID#T", "#UDID#TK#disk7##",
                             "#UDID#TKx#disk7#", "#UDID#TKxdisk7#", "#udid#TK#disk7#", "#UDID#TK#Disk7#"})
        EXPECT_EQ(array->getDynamicLSUInfo(name, nullptr), nullptr) << name;
}

TEST(GetDynamicLsuInfo, FirstMatchInTheOrderOfTheFileWins) {
    DiskArray array("DISKGROUP=A;\nDISKS=d;\nVOLUME_SIZE=1;\nDISKGROUP=B;\nDISKS=d;\nVOLUME_SIZE=2;\n");
    const std::unique_ptr<DynamicLSUInfo> info(array->getDynamicLSUInfo("d", nullptr));
    EXPECT_EQ(info->capacity, 1U);
}

TEST(GetDynamicLsuInfo, GroupOrVolumeNameIsUnknown) {
    DiskArray array("DISKGROUP=A;\nDISKS=d1;\nVOLUMES=v1;\n");
    EXPECT_EQ(array->getDynamicLSUInfo("A", nullptr), nullptr);
    EXPECT_EQ(array->getDynamicLSUInfo("v1", nullptr), nullptr);
}

TEST(GetDynamicLsuInfo, NullNameOrNoGroupsGivesNull) {
    DiskArray empty("MOUNT_BEHAVIOR=SUCCESS;\n");
    EXPECT_EQ(empty->getDynamicLSUInfo("d1", nullptr), nullptr);
    DiskArray array("DISKGROUP=A;\nDISKS=d1;\n");
    EXPECT_EQ(array->getDynamicLSUInfo(nullptr, "A"), nullptr);
}

TEST(GetDynamicLsuInfo, GroupsWithoutDisksArePassedOver) {
    DiskArray array("DISKGROUP=A;\nDISKGROUP=B;\nDISKS=d1;\n");
    const std::unique_ptr<DynamicLSUInfo> info(array->getDynamicLSUInfo("d1", nullptr));
    EXPECT_NE(info, nullptr);
}

// ---- getStorageElement -------------------------------------------------------------------------------------------

TEST(GetStorageElement, IsTheNameAsAString) {
    DiskArray array("DISKGROUP=A;\n");
    EXPECT_STREQ(c_text(array->getStorageElement("any thing")), "any thing");
    EXPECT_STREQ(c_text(array->getStorageElement("")), "");
}

}  // namespace
