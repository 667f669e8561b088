#include <gmock/gmock.h>
#include <sys/utsname.h>

#include <cstring>
#include <map>

#include "plugin/server_handle.h"
#include "tests/support/config_directory.h"
#include "tests/support/log_recorder.h"
#include "tests/support/servers.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The bits of each 32-bit word, by the word's offset in the record.
using Bits = std::map<size_t, uint32_t>;

const Bits common_bits = {
    {1040, 0x10040100}, {1044, 0x00010040}, {1048, 0x01000010}, {1052, 0x00401004},
    {1056, 0x40000401}, {1060, 0x10040100}, {1064, 0x04010040}, {1068, 0x00004010},
    {1076, 0x40000000}, {1088, 0x01000000}, {1176, 0x00000400},
};

const Bits disk_array_bits = {
    {1164, 0x04000000}, {1168, 0x00004010}, {1172, 0x00001004}, {1176, 0x80100000}, {1180, 0x00000100},
};

// What stands in the record beforehand: between them the two patterns leave no bit set that a call has to set.
class ServerProperties : public testing::TestWithParam<int> {
protected:
    ServerProperties() {
        m_config.write("Kelvarpool", "ENCLOSURE=p1;\n");
        m_config.write("copan", "STORAGE_SERVER=nodeB;\n");
        std::memset(&m_info, GetParam(), sizeof m_info);
        m_expected = m_info;
    }

    void expect_bits(const Bits &bits) {
        for (const auto &[offset, word_bits] : bits) {
            uint32_t word;
            std::memcpy(&word, reinterpret_cast<char *>(&m_expected) + offset, sizeof word);
            word |= word_bits;
            std::memcpy(reinterpret_cast<char *>(&m_expected) + offset, &word, sizeof word);
        }
    }
    void expect_type() { m_expected.server_type = 4; }
    void expect_name(const std::string &name) { std::strcpy(m_expected.server_name, name.c_str()); }

    // The record is what was expected, to the byte.
    void check() const { EXPECT_EQ(std::memcmp(&m_info, &m_expected, sizeof m_info), 0); }

    ConfigDirectory m_config;
    LogRecorder m_log;
    sts_server_info_t m_info;
    sts_server_info_t m_expected;
};

std::string simulated_host_name() {
    struct utsname system;
    EXPECT_EQ(uname(&system), 0);
    return std::string(system.nodename) + ".quillmere.local";
}

// ---- by handle ---------------------------------------------------------------------------------------------------

class GetServerProp : public ServerProperties {};

INSTANTIATE_TEST_SUITE_P(Patterns, GetServerProp, testing::Values(0x21, 0xde));

TEST_P(GetServerProp, DiskArray) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    m_log.clear();
    EXPECT_EQ(stspi_get_server_prop(server.handle(), &m_info), 0);
    expect_bits(common_bits);
    expect_bits(disk_array_bits);
    expect_name(simulated_host_name());
    check();
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_get_server_prop"), leaving("stspi_get_server_prop")));
}

// A session whose log function looks at a record when the leaving line comes.
class RecordAtLeaving {
public:
    explicit RecordAtLeaving(const sts_server_info_t &info) : m_info(info) {
        m_session.log_context = reinterpret_cast<uintptr_t>(this);
        m_session.log_function = look;
        m_session.log_mask = STS_LOG_MASK_TRACE;
    }
    const sts_session_def_v7_t *session() const { return &m_session; }
    int looks() const { return m_looks; }
    // Whether the record was then as it is expected here.
    bool was(const sts_server_info_t &expected) const { return std::memcmp(&m_seen, &expected, sizeof expected) == 0; }

private:
    static void look(uint64_t context, const char *text, int32_t) {
        auto &self = *reinterpret_cast<RecordAtLeaving *>(context);
        if (std::strncmp(text, "---- Leaving stspi_get_server_prop", 34) != 0)
            return;
        ++self.m_looks;
        self.m_seen = self.m_info;
    }

    const sts_server_info_t &m_info;
    sts_server_info_t m_seen{};
    int m_looks = 0;
    sts_session_def_v7_t m_session{};
};

TEST_P(GetServerProp, LeavingLineComesBeforeTheRecordIsWritten) {
    const RecordAtLeaving at_leaving(m_info);
    const OpenedServer server(at_leaving.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(stspi_get_server_prop(server.handle(), &m_info), 0);
    EXPECT_EQ(at_leaving.looks(), 1);
    EXPECT_TRUE(at_leaving.was(m_expected));
    EXPECT_FALSE(at_leaving.was(m_info));
}

TEST_P(GetServerProp, BitsThatWereSetStaySet) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    std::memset(&m_info, 0xff, sizeof m_info);
    m_expected = m_info;
    EXPECT_EQ(stspi_get_server_prop(server.handle(), &m_info), 0);
    expect_name(simulated_host_name());
    check();
}

TEST_P(GetServerProp, ClearedRecordHoldsExactlyTheBits) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    std::memset(&m_info, 0, sizeof m_info);
    EXPECT_EQ(stspi_get_server_prop(server.handle(), &m_info), 0);
    EXPECT_EQ(m_info.capabilities[(1176 - 1040) / 4], 0x80100400U);
    EXPECT_EQ(m_info.server_type, 0U);
}

TEST_P(GetServerProp, CopanArray) {
    const OpenedServer server(m_log.session(), "copan:nodeB");
    EXPECT_EQ(stspi_get_server_prop(server.handle(), &m_info), 0);
    expect_bits(common_bits);
    expect_type();
    expect_name("nodeB");
    check();
    EXPECT_EQ(*server.handle()->sts_object->getInfo(), "nodeB");  // borrowed: still there
}

TEST_P(GetServerProp, HandleWithoutAServerObjectSetsTheCommonBits) {
    for (const char *name : {"Kelvarpool:", "other:x"}) {
        const OpenedServer server(m_log.session(), name);
        EXPECT_EQ(stspi_get_server_prop(server.handle(), &m_info), STS_E_INVALID_PARAMETER);
        expect_bits(common_bits);
        check();
    }
}

TEST_P(GetServerProp, NullArgumentsAreNotTraced) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    m_log.clear();
    EXPECT_EQ(stspi_get_server_prop(nullptr, &m_info), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_get_server_prop(server.handle(), nullptr), STS_E_INVALID_PARAMETER);
    check();
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

class NamelessServer : public StorageServer {
public:
    std::string *getInfo() override { return nullptr; }
    std::vector<LSU *> *getLSUList() override { return nullptr; }
    LSU *getLSU(std::string) override { return nullptr; }
    char *generate_path(std::string) override { return nullptr; }
};

TEST_P(GetServerProp, ServerWithoutANameIsNotFound) {
    ServerHandle handle;
    handle.sts_object = std::make_unique<NamelessServer>();
    EXPECT_EQ(stspi_get_server_prop(&handle, &m_info), STS_E_NOT_FOUND);
    expect_bits(common_bits);
    expect_type();
    check();
}

TEST_P(GetServerProp, LongNameIsCutAt511Bytes) {
    m_config.write("long", "x\n");  // reading stops at once: a server of any name
    const OpenedServer server(m_log.session(), ("long:" + std::string(3000, 'n')).c_str());
    ASSERT_EQ(server.status(), 0);
    EXPECT_EQ(stspi_get_server_prop(server.handle(), &m_info), 0);
    expect_bits(common_bits);
    expect_type();
    expect_name(std::string(511, 'n'));
    check();
}

// ---- by name -----------------------------------------------------------------------------------------------------

class GetServerPropByName : public ServerProperties {
protected:
    int32_t get(const char *name) { return stspi_get_server_prop_byname(m_log.session(), name, &m_info); }
};

INSTANTIATE_TEST_SUITE_P(Patterns, GetServerPropByName, testing::Values(0x21, 0xde));

TEST_P(GetServerPropByName, DiskArrayIsNotOpened) {
    m_config.write("Kelvarpool", "FOO=1;\n");  // reading it would print a line
    testing::internal::CaptureStdout();
    EXPECT_EQ(get("Kelvarpool:nodeA"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    expect_bits(common_bits);
    expect_bits(disk_array_bits);
    expect_name("nodeA");
    check();
    EXPECT_THAT(m_log.messages(),
                ElementsAre(entering("stspi_get_server_prop_byname"), leaving("stspi_get_server_prop_byname")));
}

TEST_P(GetServerPropByName, DiskArrayWithoutAHostHasAnEmptyName) {
    EXPECT_EQ(get("Kelvarpool:"), 0);
    expect_bits(common_bits);
    expect_bits(disk_array_bits);
    expect_name("");
    check();
}

TEST_P(GetServerPropByName, CopanArray) {
    m_config.write("copan", "STORAGE_SERVER=nodeB.lab;\n");
    EXPECT_EQ(get("copan:nodeB"), 0);
    expect_bits(common_bits);
    expect_type();
    expect_name("nodeB");
    check();
    EXPECT_THAT(m_log.messages(),
                ElementsAre(entering("stspi_get_server_prop_byname"), leaving("stspi_get_server_prop_byname")));
}

TEST_P(GetServerPropByName, NameThatIsNotSimulatedLeavesTheRecord) {
    for (const char *name : {"other:x", "", static_cast<const char *>(nullptr)}) {
        m_log.clear();
        EXPECT_EQ(get(name), STS_E_INVALID_PARAMETER);
        check();
        EXPECT_THAT(m_log.messages(),
                    ElementsAre(entering("stspi_get_server_prop_byname"), leaving("stspi_get_server_prop_byname")));
    }
}

TEST_P(GetServerPropByName, NullSessionOrRecordIsNotTraced) {
    EXPECT_EQ(stspi_get_server_prop_byname(nullptr, "copan:nodeB", &m_info), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_get_server_prop_byname(m_log.session(), "copan:nodeB", nullptr), STS_E_INVALID_PARAMETER);
    check();
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_P(GetServerPropByName, CopanArrayThatIsNotInItsFileIsAnInternalError) {
    EXPECT_EQ(get("copan:other"), STS_E_INTERNAL);
    expect_bits(common_bits);
    expect_type();
    check();
    EXPECT_THAT(m_log.messages(),
                ElementsAre(entering("stspi_get_server_prop_byname"), error("StorageServer not found"),
                            leaving("stspi_get_server_prop_byname")));
}

TEST_P(GetServerPropByName, LongNameIsCutAt511Bytes) {
    EXPECT_EQ(get(("Kelvarpool:" + std::string(3000, 'n')).c_str()), 0);
    expect_bits(common_bits);
    expect_bits(disk_array_bits);
    expect_name(std::string(511, 'n'));
    check();
}

TEST_P(GetServerPropByName, LeavingLineComesWhenTheRecordIsWritten) {
    for (const char *name : {"Kelvarpool:nodeA", "copan:nodeB"}) {
        const RecordAtLeaving at_leaving(m_info);
        EXPECT_EQ(stspi_get_server_prop_byname(at_leaving.session(), name, &m_info), 0);
        EXPECT_EQ(at_leaving.looks(), 1);
        EXPECT_TRUE(at_leaving.was(m_info)) << name;
        EXPECT_FALSE(at_leaving.was(m_expected)) << name;
    }
}

}  // namespace
