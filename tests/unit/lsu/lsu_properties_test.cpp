#include "lsu/lsu_properties.h"

#include <sys/statvfs.h>
#include <sys/utsname.h>

#include <filesystem>

#include "plugin/server_handle.h"
#include "tests/unit/lsu/lsu_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string simulated_host_name() {
    struct utsname system;
    EXPECT_EQ(uname(&system), 0);
    return std::string(system.nodename) + ".quillmere.local";
}

class GetLsuProp : public LsuTest {
protected:
    int32_t get(const OpenedServer &server, const std::string &name) {
        const stsp_lsu_v7_t lsu = server.lsu(name);
        ready();
        return stspi_get_lsu_prop_byname(&lsu, &m_info);
    }

    // The messages between the two trace lines, which must be there.
    std::vector<Message> messages() const {
        const std::vector<Message> &all = m_log.messages();
        if (all.size() < 2 || !(all.front() == entering("stspi_get_lsu_prop_byname")) ||
            !(all.back() == leaving("stspi_get_lsu_prop_byname"))) {
            ADD_FAILURE() << "not traced";
            return all;
        }
        return {all.begin() + 1, all.end() - 1};
    }

    void expect_record(const sts_lsu_info_v9_t &expected) const {
        EXPECT_EQ(std::memcmp(&m_info, &expected, sizeof expected), 0);
    }

    sts_lsu_info_v9_t m_info = marked<sts_lsu_info_v9_t>();
};

// ---- pools -------------------------------------------------------------------------------------------------------

TEST_F(GetLsuProp, Pool) {
    configure_array("ENCLOSURE=p1;\nHOSTS=h2,h1;\nDISKS=d1,d2,d3,d4;\nDISK_SIZE=100;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "p1"), 0);
    sts_lsu_info_v9_t expected{};
    std::strcpy(expected.server_name, simulated_host_name().c_str());
    std::strcpy(expected.lsu_name, "p1");
    std::strcpy(expected.property_text, "VolumeCount=4;StorelCount=4;Hosts=h2,h1");
    expected.lsu_class = STS_LSU_CLASS_POOL;
    expected.class_qualifier = 1;
    expected.flags = 1;
    expected.capacity_bytes = 400;
    expect_record(expected);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(GetLsuProp, PoolWhoseDisksAndVolumesDiffer) {
    // Only a disk array of another configuration name keeps its disk groups, so the handle gets one by hand.
    m_config.write("lab1", "DISKGROUP=dg1;\nHOSTS=h1,h2;\nDISKS=d1,d2,d3,d4;\nVOLUMES=v1,v2;\nDISK_SIZE=100;\n");
    ServerHandle handle;
    handle.disk_array = std::make_unique<OrvSimStorageServer>("lab1:x");
    stsp_lsu_v7_t lsu{&handle, "dg1"};
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), 0);
    EXPECT_STREQ(m_info.property_text, "VolumeCount=2;StorelCount=4;Hosts=h2,h1");
    EXPECT_EQ(m_info.capacity_bytes, 400U);
    EXPECT_EQ(m_info.used_bytes, 0U);
    EXPECT_EQ(m_info.lsu_class, 3U);
}

TEST_F(GetLsuProp, PoolWithAnEmptyHostSetHasAnEmptyHostsValue) {
    configure_array("ENCLOSURE=p1;\nHOSTS=\nDISKS=d1;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "p1"), 0);
    EXPECT_STREQ(m_info.property_text, "VolumeCount=1;StorelCount=1;Hosts=");
}

TEST_F(GetLsuProp, PoolWithoutAHostSetIsNotFound) {
    configure_array("ENCLOSURE=p1;\nDISKS=d1;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "p1"), STS_E_NOT_FOUND);
    expect_record({});
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(GetLsuProp, UnknownPool) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    for (const char *name : {"p2", "P1", ""}) {
        EXPECT_EQ(get(server, name), STS_E_NO_SERVER) << name;
        expect_record({});
        EXPECT_THAT(messages(), IsEmpty());
    }
}

TEST_F(GetLsuProp, PropertyTextHoldsEveryHostOfALongLine) {
    std::string hosts;
    std::string line = "HOSTS=";
    for (int i = 0; i < 100; ++i) {
        const std::string host = "h" + std::to_string(i);
        hosts += (i != 0 ? "," : "") + host;
        line += host + ",";
    }
    configure_array("ENCLOSURE=p1;\n" + line + ";\nDISKS=d1;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "p1"), 0);
    // The last ';' stands alone between commas: a name that is cut to nothing, kept as every other.
    EXPECT_EQ(m_info.property_text, "VolumeCount=1;StorelCount=1;Hosts=" + hosts + ",");
}

TEST_F(GetLsuProp, PropertyTextOfTooManyHostsIsCutAtItsField) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    // A line of the file holds 1023 bytes; past the field with hosts bound by hand.
    std::string hosts = "h1";
    for (int i = 0; i < 400; ++i) {
        const std::string host = "long-host-name-" + std::to_string(i);
        server.handle()->disk_array->getPoolLSUInfo("p1")->hosts->bind(host.c_str(), 1);
        hosts.insert(0, host + ",");  // the newest comes first
    }
    EXPECT_EQ(get(server, "p1"), 0);
    EXPECT_EQ(m_info.property_text, ("VolumeCount=1;StorelCount=1;Hosts=" + hosts).substr(0, 2047));
    EXPECT_EQ(m_info.flags, 1U);
}

TEST_F(GetLsuProp, CapacityOfAPoolWrapsAt64Bits) {
    configure_array(pool("p1", "d1,d2", "DISK_SIZE=-1;\n"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "p1"), 0);
    EXPECT_EQ(m_info.capacity_bytes, 18446744073709551614U);
}

// ---- dynamic LSUs ------------------------------------------------------------------------------------------------

TEST_F(GetLsuProp, DynamicByDiskName) {
    configure_array(pool("p1", "d1,d2", "DISK_SIZE=1001;\n") + "UDID_TOKEN=TK;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "p1:d2"), 0);
    sts_lsu_info_v9_t expected{};
    std::strcpy(expected.server_name, simulated_host_name().c_str());
    std::strcpy(expected.lsu_name, "d2");
    std::strcpy(expected.property_text, "ID=#UDID#TK#d2#;FreeSpace=500;FSSize=1001");
    expected.lsu_class = STS_LSU_CLASS_DYNAMIC;
    expected.class_qualifier = 1;
    expected.flags = 1;
    expected.capacity_bytes = 1001;
    expected.used_bytes = 501;
    expect_record(expected);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(GetLsuProp, DynamicByIdentifierWhateverTheLeftPart) {
    configure_array(pool("p1", "d1,d2", "DISK_SIZE=1M;\n") + "UDID_TOKEN=TK;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "no-such-pool:#UDID#TK#d2#"), 0);
    EXPECT_STREQ(m_info.lsu_name, "d2");
    EXPECT_EQ(m_info.used_bytes, 524288U);
}

TEST_F(GetLsuProp, UnknownDynamicLsuIsLogged) {
    configure_array(pool("grp", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "grp:u123"), STS_E_NO_SERVER);
    EXPECT_THAT(messages(), ElementsAre(error("grp:u123 not found")));
    expect_record({});
}

TEST_F(GetLsuProp, NotFoundMessageIsCutAt1023Bytes) {
    configure_array(pool("grp", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    const std::string name = "grp:" + std::string(1019, 'u');
    EXPECT_EQ(get(server, name), STS_E_NO_SERVER);
    EXPECT_THAT(messages(), ElementsAre(error(name)));
}

TEST_F(GetLsuProp, DynamicNameWithoutRightPartIsUnknown) {
    configure_array(pool("grp", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "grp:"), STS_E_NO_SERVER);
    EXPECT_THAT(messages(), ElementsAre(error("grp: not found")));
}

TEST_F(GetLsuProp, LeadingColonIsInvalid) {
    configure_array(pool("grp", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, ":d1"), STS_E_INVALID_PARAMETER);
    expect_record({});
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(GetLsuProp, SizesBeyond63BitsAreWrittenAsNegativeNumbers) {
    configure_array(pool("p1", "d1", "DISK_SIZE=-2K;\n"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, "p1:d1"), 0);
    EXPECT_STREQ(m_info.property_text, "ID=d1;FreeSpace=9223372036854774784;FSSize=-2048");
    EXPECT_EQ(m_info.capacity_bytes, 18446744073709549568U);
}

// ---- directories -------------------------------------------------------------------------------------------------

TEST_F(GetLsuProp, DirectoryIsAnsweredFromTheFileSystemAndTheRecordIsNotCleared) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, m_directory.path()), 0);
    EXPECT_STREQ(m_info.server_name, "nodeA");
    EXPECT_EQ(m_info.lsu_class, 1U);
    EXPECT_EQ(m_info.flags, 0x5a5a5a5aU | 0x80);
    const sts_lsu_info_v9_t before = marked<sts_lsu_info_v9_t>();
    EXPECT_EQ(std::memcmp(m_info.lsu_name, before.lsu_name, sizeof before.lsu_name), 0);
    EXPECT_EQ(m_info.class_qualifier, before.class_qualifier);
    EXPECT_EQ(std::memcmp(m_info.property_text, before.property_text, sizeof before.property_text), 0);
    struct statvfs file_system;
    ASSERT_EQ(statvfs(m_directory.path().c_str(), &file_system), 0);
    EXPECT_EQ(m_info.block_size_bytes, file_system.f_frsize);
    EXPECT_EQ(m_info.capacity_bytes, file_system.f_frsize * file_system.f_blocks);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(GetLsuProp, DirectoryIsNoPoolNameAndNoDynamicName) {
    // "/a:b" could be read as a dynamic name; on a disk array a leading slash decides first.
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    std::filesystem::create_directory(m_directory / "a:d1");
    EXPECT_EQ(get(server, m_directory / "a:d1"), 0);
    EXPECT_EQ(m_info.lsu_class, 1U);
}

TEST_F(GetLsuProp, DirectoryIsAnsweredEvenWhenAGroupHasThatName) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    const_cast<diskgroup_t *>(server.handle()->disk_array->getPoolLSUInfo("p1"))->name = m_directory.path().c_str();
    EXPECT_EQ(get(server, m_directory.path()), 0);
    EXPECT_EQ(m_info.lsu_class, 1U);
}

TEST_F(GetLsuProp, MissingDirectoryIsASystemError) {
    configure_array("");
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    const std::string path = m_directory / "missing";
    EXPECT_EQ(get(server, path), STS_E_SYSTEM);
    EXPECT_THAT(messages(), ElementsAre(error("Error calling statvfs, LSU name is: "), error(path)));
}

// ---- Copan LSUs --------------------------------------------------------------------------------------------------

class GetCopanLsuProp : public GetLsuProp {
protected:
    GetCopanLsuProp() {
        configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=vol1;\nSTORAGE_DIR=" + (m_directory / "cop") + ";\n");
    }
    std::string m_path = m_directory / "cop/vol1";
};

TEST_F(GetCopanLsuProp, SizesAreThePathsAndNamesTheModels) {
    const OpenedServer server(m_log.session(), "copan:arr1.lab");
    EXPECT_EQ(get(server, "vol1"), 0);
    struct statvfs file_system;
    ASSERT_EQ(statvfs(m_path.c_str(), &file_system), 0);
    sts_lsu_info_v9_t expected{};
    std::strcpy(expected.server_name, "arr1.lab");
    std::strcpy(expected.lsu_name, "vol1");
    expected.lsu_class = STS_LSU_CLASS_PATH;
    expected.flags = 0x80;
    expected.block_size_bytes = file_system.f_frsize;
    expected.capacity_bytes = file_system.f_frsize * file_system.f_blocks;
    expected.used_bytes = m_info.used_bytes;  // may change between two looks
    EXPECT_NE(m_info.used_bytes, 0U);
    expect_record(expected);
    EXPECT_THAT(messages(), ElementsAre(trace("The generated mount path is: "), trace(m_path),
                                        trace("Copied version: "), trace(m_path)));
}

TEST_F(GetCopanLsuProp, UnknownLsuIsLoggedByItsNameAlone) {
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_EQ(get(server, "vol9"), STS_E_NO_SERVER);
    const std::string path = m_directory / "cop/vol9";
    EXPECT_THAT(messages(), ElementsAre(trace("The generated mount path is: "), trace(path), trace("Copied version: "),
                                        trace(path), error("vol9")));
    EXPECT_STREQ(m_info.server_name, "arr1");  // partly filled, not rolled back
    EXPECT_NE(m_info.capacity_bytes, 0U);
}

TEST_F(GetCopanLsuProp, EmptyNameIsInvalid) {
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_EQ(get(server, ""), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(messages(), IsEmpty());
    expect_record({});
}

TEST_F(GetCopanLsuProp, WithoutAPathTheCallIsInvalid) {
    configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=vol1;\n");
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_EQ(get(server, "vol1"), STS_E_INVALID_PARAMETER);
    // The array's own messages.
    EXPECT_THAT(messages(), ElementsAre(error("m_storage_dir directory creation failed: "), error("")));
}

TEST_F(GetCopanLsuProp, PathWhoseFileSystemCannotBeAskedIsASystemError) {
    // A dangling link is in the way: something of that name is there, but nothing behind it.
    std::filesystem::create_directory(m_directory / "cop");
    std::filesystem::create_symlink("/nowhere/at/all", m_path);
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_EQ(get(server, "vol1"), STS_E_SYSTEM);
    EXPECT_THAT(messages(),
                ElementsAre(trace("The generated mount path is: "), trace(m_path), trace("Copied version: "),
                            trace(m_path), error("Error calling statvfs, LSU name is: "), error(m_path)));
}

TEST_F(GetCopanLsuProp, NameThatBeginsWithASlashIsAnLsuNameToo) {
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_EQ(get(server, "/vol1"), STS_E_NO_SERVER);
    EXPECT_THAT(messages(), testing::Contains(error("/vol1")));
}

TEST_F(GetCopanLsuProp, NameWithAColonIsAnLsuNameToo) {
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_EQ(get(server, "p:vol1"), STS_E_NO_SERVER);
    EXPECT_THAT(messages(), testing::Contains(error("p:vol1")));
}

TEST_F(GetCopanLsuProp, CallersRecordIsNotChanged) {
    const OpenedServer server(m_log.session(), "copan:arr1");
    const stsp_lsu_v7_t lsu = server.lsu("vol1");
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), 0);
    EXPECT_STREQ(lsu.lsu_name, "vol1");
}

// Servers and LSUs without names, which no configuration can bring about.
class NamelessLsu final : public LSU {
public:
    const std::string *getInfo() override { return has_name ? &name : nullptr; }
    bool has_name = false;
    std::string name = "model";
};

class NamelessServer : public StorageServer {
public:
    explicit NamelessServer(std::string path) : m_path(std::move(path)) {}
    std::string *getInfo() override { return has_name ? &name : nullptr; }
    std::vector<LSU *> *getLSUList() override { return nullptr; }
    LSU *getLSU(std::string) override { return &lsu; }
    char *generate_path(std::string) override {
        auto *path = new char[2048];
        std::strcpy(path, m_path.c_str());
        return path;
    }
    NamelessLsu lsu;
    bool has_name = false;
    std::string name = "server";

private:
    std::string m_path;
};

TEST_F(GetLsuProp, CopanLsuOrServerWithoutANameIsNotFound) {
    auto *const server = new NamelessServer(m_directory.path());
    ServerHandle handle;
    handle.sts_object.reset(server);
    const stsp_lsu_v7_t lsu{&handle, "any"};
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), STS_E_NOT_FOUND);
    server->lsu.has_name = true;
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), STS_E_NOT_FOUND);
    server->lsu.has_name = false;
    server->has_name = true;
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), STS_E_NOT_FOUND);
    server->lsu.has_name = true;
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), 0);
    EXPECT_STREQ(m_info.lsu_name, "model");
    EXPECT_STREQ(m_info.server_name, "server");
}

TEST_F(GetLsuProp, CopiedVersionOfALongPathIsWhatFitsTheName) {
    const std::string path = "/" + std::string(1100, 'p');
    ServerHandle handle;
    handle.session = m_log.session();
    handle.sts_object = std::make_unique<NamelessServer>(path);
    const stsp_lsu_v7_t lsu{&handle, "any"};
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), STS_E_SYSTEM);
    const std::string copied = path.substr(0, 1023);
    EXPECT_THAT(messages(), ElementsAre(trace("The generated mount path is: "), trace(path), trace("Copied version: "),
                                        trace(copied), error("Error calling statvfs, LSU name is: "), error(copied)));
}

TEST_F(GetLsuProp, EmptyGeneratedPathIsMinusTwo) {
    ServerHandle handle;
    handle.session = m_log.session();
    handle.sts_object = std::make_unique<NamelessServer>("");
    const stsp_lsu_v7_t lsu{&handle, "any"};
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), -2);
    EXPECT_THAT(messages(), ElementsAre(trace("The generated mount path is: "), trace(""), trace("Copied version: "),
                                        trace(""), error("STS: Invalid path name")));
}

// ---- arguments ---------------------------------------------------------------------------------------------------

TEST_F(GetLsuProp, NullLsuOrHandleIsNotTraced) {
    EXPECT_EQ(stspi_get_lsu_prop_byname(nullptr, &m_info), STS_E_INVALID_PARAMETER);
    const stsp_lsu_v7_t lsu{};
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_log.messages(), IsEmpty());
    expect_record(marked<sts_lsu_info_v9_t>());
}

TEST_F(GetLsuProp, NullInfoIsLogged) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    const stsp_lsu_v7_t lsu = server.lsu("p1");
    ready();
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(messages(), ElementsAre(error("STS: No memory allocated for lsuInfo")));
}

TEST_F(GetLsuProp, HandleWithoutAServerObjectHasNoServer) {
    configure_array("");
    const OpenedServer server(m_log.session(), "Kelvarpool:");
    for (const char *name : {"p1", "p1:d1", "/tmp", ""}) {
        EXPECT_EQ(get(server, name), STS_E_NO_SERVER) << name;
        expect_record({});
    }
}

TEST_F(GetLsuProp, NameThatFillsItsFieldIsNotReadBeyond) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(get(server, std::string(1024, 'p')), STS_E_NO_SERVER);
    EXPECT_EQ(get(server, "p:" + std::string(1022, 'd')), STS_E_NO_SERVER);
}

TEST_F(GetLsuProp, WithoutASessionTheStatusIsTheSame) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(nullptr, "Kelvarpool:nodeA");
    const stsp_lsu_v7_t lsu = server.lsu("p1:unknown");
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &m_info), STS_E_NO_SERVER);
    EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, nullptr), STS_E_INVALID_PARAMETER);
}

// ---- populate_lsuinfo --------------------------------------------------------------------------------------------

TEST(PopulateLsuInfo, WritesTheTwoNamesAndNothingElse) {
    auto info = marked<sts_lsu_info_v9_t>();
    sts_lsu_info_v9_t expected = info;
    const std::string lsu = "vol1";
    EXPECT_EQ(populate_lsuinfo(&info, &lsu, "arr1"), 0);
    std::strcpy(expected.lsu_name, "vol1");
    std::strcpy(expected.server_name, "arr1");
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
}

TEST(PopulateLsuInfo, LongNamesAreCutAtTheirFields) {
    auto info = marked<sts_lsu_info_v9_t>();
    sts_lsu_info_v9_t expected = info;
    const std::string lsu(3000, 'l');
    const std::string server(3000, 's');
    EXPECT_EQ(populate_lsuinfo(&info, &lsu, server.c_str()), 0);
    std::strcpy(expected.lsu_name, std::string(1023, 'l').c_str());
    std::strcpy(expected.server_name, std::string(511, 's').c_str());
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
}

}  // namespace
