#include "conformance/model/disk_array.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "recording_machine.h"

using conformance::model::DiskArray;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char one_pool[] = "ENCLOSURE = g;\n\tDISKS = d1,d2;\n\tHOSTS = h1,h2;\n\tSTORAGE_DIR = /s;\n";

struct Mounted {
    int outcome;
    std::string said;
};

Mounted mount(DiskArray &array, RecordingMachine &machine, const std::string &pool, const std::string &point) {
    Mounted mounted{0, ""};
    mounted.outcome = array.mount(machine, pool, "v", point, [&](const std::string &text) { mounted.said += text; });
    return mounted;
}

}  // namespace

TEST(DiskArray, PoolsComeInReverseAndEachNameOnce) {
    const DiskArray array("ENCLOSURE=a;\nHOSTS=h;\nENCLOSURE=b;\nHOSTS=h;\nENCLOSURE=a;\nHOSTS=h;\nENCLOSURE=c;\n");
    EXPECT_THAT(array.pools_of({"h"}), ElementsAre("b", "a"));
    EXPECT_THAT(array.pools_of({}), IsEmpty());
    EXPECT_THAT(array.pools_of({"H"}), IsEmpty());
}

TEST(DiskArray, HostsStandInTheOrderOfTheFile) {
    const DiskArray array("ENCLOSURE=a;\nHOSTS=h1,h2,h1,h3;\n");
    EXPECT_THAT(*array.pool("a")->hosts, ElementsAre("h1", "h2", "h3"));
}

TEST(DiskArray, AnEnclosureWithoutHostsKeepsThoseOfTheGroupOfItsPlace) {
    const DiskArray array("DISKGROUP=g;\nHOSTS=h1,h2;\nENCLOSURE=a;\nENCLOSURE=b;\n");
    EXPECT_THAT(*array.pool("a")->hosts, ElementsAre("h2", "h1"));
    EXPECT_FALSE(array.pool("b")->hosts);
    EXPECT_EQ(array.pool("g"), nullptr);
}

TEST(DiskArray, InvalidLinesAreTold) {
    EXPECT_EQ(DiskArray("\nFOO = 1;\nFOO\n=x;\n#c=1\n").output(), "Invalid line: 2\nInvalid line: 5\n");
}

TEST(DiskArray, VolumesBeforeAnyGroupMayBeToldOrNot) {
    const DiskArray array("VOLUMES = v;\n");
    EXPECT_EQ(array.output(), "Invalid line: 1\n");
    EXPECT_EQ(array.quiet_output(), "");
}

TEST(DiskArray, ADiskIsFoundByNameAndByIdentifier) {
    const DiskArray array(std::string(one_pool) + "UDID_TOKEN = TK;\n");
    std::string disk;
    EXPECT_EQ(array.identifier("d2"), "#UDID#TK#d2#");
    EXPECT_NE(array.pool_of_disk("#UDID#TK#d2#", disk), nullptr);
    EXPECT_EQ(disk, "d2");
    EXPECT_EQ(array.pool_of_disk("g", disk), nullptr);
}

TEST(DiskArrayMount, MakesDirectoriesParentsAndLink) {
    DiskArray array(one_pool);
    RecordingMachine machine;
    machine.errors["stat /m/a/b"] = {ENOENT};
    EXPECT_EQ(mount(array, machine, "g", "/m/a/b/").outcome, 0);
    EXPECT_THAT(machine.made,
                ElementsAre("mkdir /s", "mkdir /s/v", "stat /m/a/b", "mkdir /m", "mkdir /m/a", "symlink /s/v /m/a/b"));
}

TEST(DiskArrayMount, ReplacesWhatStandsThere) {
    DiskArray array(one_pool);
    RecordingMachine machine;
    machine.errors["symlink /s/v /m"] = {EEXIST};
    EXPECT_EQ(mount(array, machine, "g", "/m").outcome, 0);
    EXPECT_THAT(machine.made,
                ElementsAre("mkdir /s", "mkdir /s/v", "stat /m", "symlink /s/v /m", "unlink /m", "symlink /s/v /m"));
}

TEST(DiskArrayMount, TellsWhyItFails) {
    DiskArray array(one_pool);
    RecordingMachine machine;
    EXPECT_EQ(mount(array, machine, "none", "/m").said, "Unknown Diskgroup: none\n");
    machine.errors["symlink /s/v /m"] = {EEXIST};
    machine.errors["unlink /m"] = {EISDIR};
    EXPECT_EQ(mount(array, machine, "g", "/m").said, "unlink failed: errno 21\n");
    machine.errors["symlink /s/v /m"] = {EACCES};
    EXPECT_EQ(mount(array, machine, "g", "/m").said, "symlink failed: errno 13\n");
    machine.errors["stat /x/y"] = {ENOENT};
    machine.errors["mkdir /x"] = {EROFS};
    EXPECT_EQ(mount(array, machine, "g", "/x/y").said, "problem creating mount path directory");
    machine.errors["mkdir /s"] = {EACCES};
    EXPECT_EQ(mount(array, machine, "g", "/m").said, "");
}

TEST(DiskArrayMount, FailsSilentlyAsTheFileSays) {
    DiskArray array(std::string(one_pool) + "MOUNT_BEHAVIOR = success;\n");
    RecordingMachine machine;
    EXPECT_NE(mount(array, machine, "g", "/m").outcome, 0);
    EXPECT_THAT(machine.made, IsEmpty());
}
