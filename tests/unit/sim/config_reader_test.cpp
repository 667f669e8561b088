#include "sim/config_reader.h"

#include <gmock/gmock.h>

#include "sim/name_lists.h"
#include "tests/unit/sim/config_reading.h"

namespace {

TEST(ConfigReader, WholeFile) {
    const ConfigReading reading(
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

    ASSERT_EQ(reading.diskgroups.size(), 1U);
    const diskgroup_t &group = reading.diskgroups[0];
    EXPECT_STREQ(c_text(group.name), "dg1");
    EXPECT_EQ(joined_names(group.disks), "d1,d2");
    EXPECT_EQ(joined_names(group.hosts), "hostB,hostA");
    EXPECT_EQ(joined_names(group.volumes), "vol1,vol2");
    EXPECT_EQ(group.disk_size, 10737418240U);
    EXPECT_EQ(group.volume_size, 536870912U);
    EXPECT_STREQ(c_text(group.storage_dir), "/var/tmp/dg1");

    ASSERT_EQ(reading.enclosures.size(), 1U);
    const enclosure_t &enclosure = reading.enclosures[0];
    EXPECT_STREQ(c_text(enclosure.name), "enc1");
    EXPECT_STREQ(c_text(enclosure.label), "enc1");
    EXPECT_EQ(joined_names(enclosure.disks), "e1,e2");
    EXPECT_EQ(joined_names(enclosure.hosts), "hostA");
    EXPECT_STREQ(c_text(enclosure.storage_dir), "/var/tmp/enc1");
    EXPECT_EQ(enclosure.disk_size, 2199023255552U);

    EXPECT_STREQ(c_text(reading.mount_path), "/mnt/sim;");
    EXPECT_STREQ(c_text(reading.mount_behavior), "SUCCESS");
    EXPECT_STREQ(c_text(reading.udid_token), "tok1");
    EXPECT_EQ(reading.output, "");
}

TEST(ConfigReader, EmptyFileGivesNoSectionsAndTheDefaults) {
    const ConfigReading reading("");
    EXPECT_EQ(reading.diskgroups.size(), 0U);
    EXPECT_EQ(reading.enclosures.size(), 0U);
    EXPECT_STREQ(c_text(reading.mount_path), "");
    EXPECT_STREQ(c_text(reading.mount_behavior), "SUCCESS");
    EXPECT_STREQ(c_text(reading.udid_token), "");
}

TEST(ConfigReader, FileWithOnlyGlobalKeysGivesNoSections) {
    const ConfigReading reading("MOUNT_PATH = /m;\nMOUNT_BEHAVIOR = MOUNT_POINT_USED;\nUDID_TOKEN = t;\n");
    EXPECT_EQ(reading.diskgroups.size(), 0U);
    EXPECT_EQ(reading.enclosures.size(), 0U);
    EXPECT_STREQ(c_text(reading.mount_behavior), "MOUNT_POINT_USED");
}

// ---- headers -----------------------------------------------------------------------------------------------------

TEST(ConfigReaderHeader, NewDiskGroupHasItsDefaults) {
    const ConfigReading reading("DISKGROUP = dg1;\n");
    ASSERT_EQ(reading.diskgroups.size(), 1U);
    const diskgroup_t &group = reading.diskgroups[0];
    ASSERT_NE(group.disks, nullptr);
    ASSERT_NE(group.volumes, nullptr);
    EXPECT_EQ(group.disks->size(), 0U);
    EXPECT_EQ(group.volumes->size(), 0U);
    EXPECT_EQ(group.hosts, nullptr);
    EXPECT_EQ(group.disk_size, 0U);
    EXPECT_EQ(group.volume_size, 104857600U);
    EXPECT_TRUE(is_empty_text(group.storage_dir));
}

TEST(ConfigReaderHeader, NewEnclosureHasItsDefaults) {
    const ConfigReading reading("ENCLOSURE = enc1;\n");
    ASSERT_EQ(reading.enclosures.size(), 1U);
    const enclosure_t &enclosure = reading.enclosures[0];
    ASSERT_NE(enclosure.disks, nullptr);
    EXPECT_EQ(enclosure.disks->size(), 0U);
    EXPECT_EQ(enclosure.hosts, nullptr);
    EXPECT_EQ(enclosure.disk_size, 0U);
    EXPECT_TRUE(is_empty_text(enclosure.storage_dir));
}

TEST(ConfigReaderHeader, WhiteSpaceInANameIsDropped) {
    EXPECT_STREQ(c_text(ConfigReading("DISKGROUP = dg 1;\n").diskgroups[0].name), "dg1");
}

TEST(ConfigReaderHeader, NameEndsAtItsFirstBadByte) {
    EXPECT_STREQ(c_text(ConfigReading("DISKGROUP = dg#1;\n").diskgroups[0].name), "dg");
    EXPECT_STREQ(c_text(ConfigReading("ENCLOSURE = e/1;\n").enclosures[0].name), "e");
}

TEST(ConfigReaderHeader, NameIsCutAt31Bytes) {
    EXPECT_EQ(c_text(ConfigReading("DISKGROUP=" + std::string(40, 'g') + ";\n").diskgroups[0].name),
              std::string(31, 'g'));
}

TEST(ConfigReaderHeader, BareHeaderOpensASectionNamedAfterItself) {
    const ConfigReading reading("DISKGROUP\nENCLOSURE\n");
    ASSERT_EQ(reading.diskgroups.size(), 1U);
    EXPECT_STREQ(c_text(reading.diskgroups[0].name), "DISKGROUP");
    ASSERT_EQ(reading.enclosures.size(), 1U);
    EXPECT_STREQ(c_text(reading.enclosures[0].name), "ENCLOSURE");
    EXPECT_STREQ(c_text(reading.enclosures[0].label), "ENCLOSURE");
}

TEST(ConfigReaderHeader, EmptyValueOpensASectionWithoutAName) {
    const ConfigReading reading("DISKGROUP =\n");
    ASSERT_EQ(reading.diskgroups.size(), 1U);
    EXPECT_STREQ(c_text(reading.diskgroups[0].name), "");
}

TEST(ConfigReaderHeader, BareHeaderWithASemicolonIsSkipped) {
    const ConfigReading reading("DISKGROUP;\n");
    EXPECT_EQ(reading.diskgroups.size(), 0U);
    EXPECT_EQ(reading.output, "");
}

TEST(ConfigReaderHeader, SecondEqualsSignBelongsToTheValue) {
    const ConfigReading reading("DISKGROUP = a=b;\nUDID_TOKEN = t=u;\n");
    EXPECT_STREQ(c_text(reading.diskgroups[0].name), "a");
    EXPECT_STREQ(c_text(reading.udid_token), "t=u");
}

// ---- lines that are skipped or reported --------------------------------------------------------------------------

TEST(ConfigReaderLine, UnknownKeyIsReportedWithItsLineNumber) {
    EXPECT_EQ(ConfigReading("\n\n\n\n\n\nFOO = 1;\n").output, "Invalid line: 7\n");
}

TEST(ConfigReaderLine, EveryUnknownKeyIsReportedAndReadingGoesOn) {
    const ConfigReading reading("A=1;\nDISKGROUP=d;\nB=2;\nDISKS=x;\n");
    EXPECT_EQ(reading.output, "Invalid line: 1\nInvalid line: 3\n");
    EXPECT_EQ(joined_names(reading.diskgroups[0].disks), "x");
}

TEST(ConfigReaderLine, WithoutEqualsSignIsSkipped) { EXPECT_EQ(ConfigReading("FOO\n#x\nDISKS;\n").output, ""); }

TEST(ConfigReaderLine, CommentWithEqualsSignIsReported) {
    EXPECT_EQ(ConfigReading("# a = b\n").output, "Invalid line: 1\n");
}

TEST(ConfigReaderLine, LeadingEqualsSignIsSkipped) {
    const ConfigReading reading("=x;\n = DISKGROUP;\n");
    EXPECT_EQ(reading.output, "");
    EXPECT_EQ(reading.diskgroups.size(), 0U);
}

TEST(ConfigReaderLine, KeysAreMatchedWholeAndInUpperCase) {
    const ConfigReading reading("DISKGROUP=d;\ndisks=a;\nDISK=a;\nDISKSX=a;\nDiskgroup=x;\nENCLOSURES=x;\n");
    EXPECT_EQ(reading.output, "Invalid line: 2\nInvalid line: 3\nInvalid line: 4\nInvalid line: 5\nInvalid line: 6\n");
    EXPECT_EQ(reading.diskgroups.size(), 1U);
    EXPECT_EQ(reading.enclosures.size(), 0U);
    EXPECT_EQ(joined_names(reading.diskgroups[0].disks), "");
}

TEST(ConfigReaderLine, ByteNumber1023IsTheLast) {
    const std::string key = "DISKS=";
    for (const size_t room : {1U, 15U, 31U}) {  // bytes of the last name that the line has room for
        std::string line = key;
        while (line.size() + 2 <= 1023 - room)
            line += "a,";
        line.resize(1023 - room, ',');
        const ConfigReading read("ENCLOSURE=g;\n" + line + std::string(40, 'b') + ";\n");
        ASSERT_EQ(read.enclosures.size(), 1U);
        const NameList &disks = *read.enclosures[0].disks;
        EXPECT_STREQ(c_text(disks[disks.size() - 1]), std::string(room, 'b').c_str());
    }
}

TEST(ConfigReaderLine, LongLineCountsAsSeveral) {
    // 1023 bytes are one line, the rest is the next: the unknown key stands in the third.
    EXPECT_EQ(ConfigReading(std::string(1500, 'x') + "\nFOO=1;\n").output, "Invalid line: 3\n");
}

// ---- HOSTS -------------------------------------------------------------------------------------------------------

TEST(ConfigReaderHosts, SecondLineReplacesTheFirst) {
    const ConfigReading reading("DISKGROUP=d;\nHOSTS=a,b;\nHOSTS=c;\nENCLOSURE=e;\nHOSTS=x;\nHOSTS=y,z;\n");
    EXPECT_EQ(joined_names(reading.diskgroups[0].hosts), "c");
    EXPECT_EQ(joined_names(reading.enclosures[0].hosts), "z,y");
}

TEST(ConfigReaderHosts, OutsideASectionAreIgnored) {
    const ConfigReading reading("HOSTS=a;\nDISKGROUP=d;\n");
    EXPECT_EQ(reading.diskgroups[0].hosts, nullptr);
    EXPECT_EQ(reading.output, "");
}

TEST(ConfigReaderHosts, EmptyValueGivesAnEmptySet) {
    const ConfigReading reading("DISKGROUP=d;\nHOSTS=\n");
    ASSERT_NE(reading.diskgroups[0].hosts, nullptr);
    EXPECT_EQ(reading.diskgroups[0].hosts->current_size(), 0U);
}

// ---- DISKS, VOLUMES ----------------------------------------------------------------------------------------------

TEST(ConfigReaderDisks, LoneSemicolonIsOneDiskWithoutAName) {
    for (const char *line : {"DISKS = ;\n", "DISKS = ,,;\n"}) {
        const ConfigReading reading("DISKGROUP = d;\n" + std::string(line));
        ASSERT_EQ(reading.diskgroups[0].disks->size(), 1U) << line;
        EXPECT_STREQ(c_text((*reading.diskgroups[0].disks)[0]), "") << line;
    }
}

TEST(ConfigReaderDisks, EmptyValueAddsNothing) {
    const ConfigReading reading("DISKGROUP=d;\nDISKS=\nVOLUMES=\n");
    EXPECT_EQ(reading.diskgroups[0].disks->size(), 0U);
    EXPECT_EQ(reading.diskgroups[0].volumes->size(), 0U);
}

TEST(ConfigReaderDisks, SecondLineIsAppended) {
    const ConfigReading reading("DISKGROUP=d;\nDISKS=a,b;\nDISKS=c;\nENCLOSURE=e;\nDISKS=x;\nDISKS=y,z;\n");
    EXPECT_EQ(joined_names(reading.diskgroups[0].disks), "a,b,c");
    EXPECT_EQ(joined_names(reading.enclosures[0].disks), "x,y,z");
}

TEST(ConfigReaderDisks, OutsideASectionAreIgnored) {
    const ConfigReading reading("DISKS=a;\nDISKGROUP=d;\n");
    EXPECT_EQ(reading.diskgroups[0].disks->size(), 0U);
    EXPECT_EQ(reading.output, "");
}

TEST(ConfigReaderDisks, MoreThan512OnOneOrSeveralLinesAreKept) {
    std::string text = "DISKGROUP=d;\n";
    for (int line = 0; line < 3; ++line) {
        text += "DISKS=";
        for (int disk = 0; disk < 250; ++disk)
            text += std::to_string(disk % 10) + ",";
        text += "e;\n";
    }
    EXPECT_EQ(ConfigReading(text).diskgroups[0].disks->size(), 753U);
}

TEST(ConfigReaderVolumes, SecondLineIsAppended) {
    const ConfigReading reading("DISKGROUP=d;\nVOLUMES=a,b;\nVOLUMES=c;\n");
    EXPECT_EQ(joined_names(reading.diskgroups[0].volumes), "a,b,c");
}

TEST(ConfigReaderVolumes, InAnEnclosureGoToTheLastDiskGroup) {
    const ConfigReading reading("DISKGROUP=d1;\nDISKGROUP=d2;\nVOLUMES=a;\nENCLOSURE=e;\nVOLUMES=b;\n");
    EXPECT_EQ(joined_names(reading.diskgroups[0].volumes), "");
    EXPECT_EQ(joined_names(reading.diskgroups[1].volumes), "a,b");
}

TEST(ConfigReaderVolumes, BeforeAnyDiskGroupAreAnInvalidLine) {
    EXPECT_EQ(ConfigReading("VOLUMES=a;\nENCLOSURE=e;\nVOLUMES=b;\n").output, "Invalid line: 1\nInvalid line: 3\n");
}

// ---- sizes -------------------------------------------------------------------------------------------------------

TEST(ConfigReaderSize, DiskSizeIsReadWithItsUnit) {
    EXPECT_EQ(ConfigReading("DISKGROUP=d;\nDISK_SIZE = 10G;\n").diskgroups[0].disk_size, 10737418240U);
}

TEST(ConfigReaderSize, UnitWithoutSemicolonIsIgnored) {
    EXPECT_EQ(ConfigReading("DISKGROUP=d;\nDISK_SIZE = 10G\n").diskgroups[0].disk_size, 10U);
}

TEST(ConfigReaderSize, EmptyValueIsZero) {
    const ConfigReading reading("DISKGROUP=d;\nDISK_SIZE = 1;\nDISK_SIZE =\nVOLUME_SIZE =\n");
    EXPECT_EQ(reading.diskgroups[0].disk_size, 0U);
    EXPECT_EQ(reading.diskgroups[0].volume_size, 0U);
}

TEST(ConfigReaderSize, VolumeSizeInAnEnclosureChangesNothing) {
    const ConfigReading reading("DISKGROUP=d;\nENCLOSURE=e;\nVOLUME_SIZE=1G;\n");
    EXPECT_EQ(reading.diskgroups[0].volume_size, 104857600U);
    EXPECT_EQ(reading.enclosures[0].disk_size, 0U);
    EXPECT_EQ(reading.output, "");
}

TEST(ConfigReaderSize, DiskSizeInAnEnclosureIsTheEnclosures) {
    const ConfigReading reading("DISKGROUP=d;\nENCLOSURE=e;\nDISK_SIZE=1G;\n");
    EXPECT_EQ(reading.diskgroups[0].disk_size, 0U);
    EXPECT_EQ(reading.enclosures[0].disk_size, 1073741824U);
}

TEST(ConfigReaderSize, RepeatedKeyOverwrites) {
    const ConfigReading reading("DISKGROUP=d;\nDISK_SIZE=1;\nDISK_SIZE=2;\nVOLUME_SIZE=3;\nVOLUME_SIZE=4;\n");
    EXPECT_EQ(reading.diskgroups[0].disk_size, 2U);
    EXPECT_EQ(reading.diskgroups[0].volume_size, 4U);
}

TEST(ConfigReaderSize, OutsideASectionIsIgnored) {
    const ConfigReading reading("DISK_SIZE=1;\nVOLUME_SIZE=1;\nSTORAGE_DIR=/x;\nDISKGROUP=d;\n");
    EXPECT_EQ(reading.diskgroups[0].disk_size, 0U);
    EXPECT_EQ(reading.diskgroups[0].volume_size, 104857600U);
    EXPECT_TRUE(is_empty_text(reading.diskgroups[0].storage_dir));
    EXPECT_EQ(reading.output, "");
}

// ---- texts -------------------------------------------------------------------------------------------------------

TEST(ConfigReaderText, KeepsItsLengthWithANulForTheSemicolon) {
    const ConfigReading reading("DISKGROUP=d;\nSTORAGE_DIR=/a;\nMOUNT_BEHAVIOR=SUCCESS;\nUDID_TOKEN=tok;\n");
    EXPECT_EQ(reading.diskgroups[0].storage_dir.length(), 3U);
    EXPECT_STREQ(c_text(reading.diskgroups[0].storage_dir), "/a");
    EXPECT_EQ(reading.mount_behavior.length(), 8U);
    EXPECT_STREQ(c_text(reading.mount_behavior), "SUCCESS");
    EXPECT_EQ(reading.udid_token.length(), 4U);
    EXPECT_STREQ(c_text(reading.udid_token), "tok");
}

TEST(ConfigReaderText, LosesItsLastCharacterWhateverItIs) {
    const ConfigReading reading("MOUNT_BEHAVIOR=SUCCESS\nUDID_TOKEN=a;b\n");
    EXPECT_STREQ(c_text(reading.mount_behavior), "SUCCES");
    EXPECT_STREQ(c_text(reading.udid_token), "a;");
}

TEST(ConfigReaderText, EmptyValueIsEmptyAndSpoilsNoOtherText) {
    const ConfigReading reading("DISKGROUP=d;\nSTORAGE_DIR=\nMOUNT_BEHAVIOR=\nUDID_TOKEN=\nMOUNT_PATH=\n");
    EXPECT_TRUE(is_empty_text(reading.diskgroups[0].storage_dir));
    EXPECT_TRUE(is_empty_text(reading.mount_behavior));
    EXPECT_TRUE(is_empty_text(reading.udid_token));
    EXPECT_TRUE(is_empty_text(reading.mount_path));
    EXPECT_STREQ(Name().c_str(), "");  // every empty ACE string shares one byte
}

TEST(ConfigReaderText, LoneSemicolonIsEmptyInItsCStringForm) {
    const ConfigReading reading("DISKGROUP=d;\nSTORAGE_DIR=;\nUDID_TOKEN=;\n");
    EXPECT_EQ(reading.diskgroups[0].storage_dir.length(), 1U);
    EXPECT_TRUE(is_empty_text(reading.diskgroups[0].storage_dir));
    EXPECT_TRUE(is_empty_text(reading.udid_token));
}

TEST(ConfigReaderText, MountPathKeepsItsSemicolon) {
    EXPECT_STREQ(c_text(ConfigReading("MOUNT_PATH = /mnt/sim;\n").mount_path), "/mnt/sim;");
}

TEST(ConfigReaderText, StorageDirBelongsToItsSection) {
    const ConfigReading reading("DISKGROUP=d;\nSTORAGE_DIR=/d;\nENCLOSURE=e;\nSTORAGE_DIR=/e;\n");
    EXPECT_STREQ(c_text(reading.diskgroups[0].storage_dir), "/d");
    EXPECT_STREQ(c_text(reading.enclosures[0].storage_dir), "/e");
}

TEST(ConfigReaderText, RepeatedKeyOverwrites) {
    const ConfigReading reading("UDID_TOKEN=long-one;\nUDID_TOKEN=b;\nMOUNT_PATH=/a;\nMOUNT_PATH=/b;\n");
    EXPECT_STREQ(c_text(reading.udid_token), "b");
    EXPECT_STREQ(c_text(reading.mount_path), "/b;");
}

TEST(ConfigReaderText, GlobalKeysTakeEffectInsideASection) {
    const ConfigReading reading("ENCLOSURE=e;\nMOUNT_PATH=/m;\nMOUNT_BEHAVIOR=X;\nUDID_TOKEN=t;\n");
    EXPECT_STREQ(c_text(reading.mount_path), "/m;");
    EXPECT_STREQ(c_text(reading.mount_behavior), "X");
    EXPECT_STREQ(c_text(reading.udid_token), "t");
}

TEST(ConfigReader, ListsAreSeparatedByCommasAlone) {
    const ConfigReading reading(
        "DISKGROUP=g;\nDISKS=a~b,c|d;\nVOLUMES=e~f,g:h;\nHOSTS=i~j,k/l;\n"
        "ENCLOSURE=x;\nDISKS=m~n,o|p;\n");
    const diskgroup_t &group = reading.diskgroups[0];
    EXPECT_EQ(joined_names(group.disks), "a,c");
    EXPECT_EQ(joined_names(group.volumes), "e,g");
    EXPECT_EQ(joined_names(group.hosts), "k,i");
    EXPECT_EQ(joined_names(reading.enclosures[0].disks), "m,o");
}

}  // namespace
