// Which calls give a simulator class its session: the two that open an array of that class, and no other.
#include <gmock/gmock.h>

#include <functional>

#include "copan/copan_sim_storage_server.h"
#include "plugin/server_name.h"
#include "sim/orv_sim_storage_server.h"
#include "tests/support/config_directory.h"
#include "tests/support/log_recorder.h"
#include "tests/support/servers.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A call with a session of its own, and which class takes that over.
struct SessionCall {
    const char *name;
    std::function<void(const sts_session_def_v7_t *)> call;
    bool is_taken_by_disk_arrays = false;
    bool is_taken_by_copan_arrays = false;
};
void PrintTo(const SessionCall &call, std::ostream *out) { *out << call.name; }

void open(const sts_session_def_v7_t *session, const char *name) { const OpenedServer server(session, name); }

void create(const sts_session_def_v7_t *session, const char *name, const std::vector<std::string> &hosts) {
    const OpenedServer server(session, name, hosts);
}

void open_target(const sts_session_def_v7_t *session, const char *name) {
    // The source never had a class: only the target's opening can set a session.
    const OpenedServer source(session, "copan:");
    sts_server_handle_t target = nullptr;
    stspi_open_target_server(source.handle(), name, nullptr, nullptr, &target);
    if (!is_disk_array_name(name))  // whose handle is freed already
        stspi_close_server(target);
}

void ask_by_name(const sts_session_def_v7_t *session, const char *name) {
    sts_server_info_t info{};
    stspi_get_server_prop_byname(session, name, &info);
}

const SessionCall session_calls[] = {
    {"OpenDiskArray", [](auto session) { open(session, "Kelvarpool:nodeA"); }, true, false},
    {"OpenCopanArray", [](auto session) { open(session, "copan:arr1"); }, false, true},
    {"OpenNullHostOfADiskArray", [](auto session) { open(session, "Kelvarpool:"); }},
    {"OpenNullHostOfACopanArray", [](auto session) { open(session, "copan:"); }},
    {"OpenOfAMissingCopanArray", [](auto session) { open(session, "copan:other"); }},
    {"OpenOfAnUnclaimedName", [](auto session) { open(session, "nobody:x"); }},
    {"CreateWithHosts", [](auto session) { create(session, "Kelvarpool:nodeA", {"h1"}); }},
    {"CreateWithoutHosts", [](auto session) { create(session, "Kelvarpool:nodeA", {}); }},
    {"CreateOfACopanArray", [](auto session) { create(session, "copan:arr1", {"h1"}); }},
    {"OpenTarget", [](auto session) { open_target(session, "copan:arr1"); }},
    {"OpenTargetThatIsADiskArray", [](auto session) { open_target(session, "Kelvarpool:nodeA"); }},
    {"OpenTargetThatIsMissing", [](auto session) { open_target(session, "copan:other"); }},
    {"PropertiesOfADiskArrayByName", [](auto session) { ask_by_name(session, "Kelvarpool:nodeA"); }},
    {"PropertiesOfACopanArrayByName", [](auto session) { ask_by_name(session, "copan:arr1"); }},
    {"PropertiesOfAMissingCopanArrayByName", [](auto session) { ask_by_name(session, "copan:other"); }},
};

class ClassSessions : public testing::Test {
protected:
    ClassSessions() {
        m_config.write("Kelvarpool", "ENCLOSURE=p1;\nHOSTS=h1;\nDISKS=d1;\n");
        m_config.write("copan", "STORAGE_SERVER=arr1;\nVOLUMES=v;\n");
    }

    // Something that each class has to say through its session.
    void expect_messages_at(const LogRecorder &of_disk_arrays, const LogRecorder &of_copan_arrays) {
        for (LogRecorder *log : {&m_arrays, &m_copans, &m_own})
            log->clear();
        OrvSimStorageServer array("Kelvarpool:x");
        EXPECT_EQ(array.mountLSU("nowhere", "v", 1, "localhost", "/nowhere"), -1);
        EXPECT_THAT(of_disk_arrays.messages(), ElementsAre(error("Unknown Diskgroup: nowhere\n")));
        const size_t before = of_copan_arrays.messages().size();
        CopanSimStorageServer copan("copan:arr1");
        EXPECT_EQ(copan.generate_path("v"), nullptr);  // it has no storage directory
        EXPECT_EQ(of_copan_arrays.messages().size(), before + 2);
        EXPECT_EQ(m_arrays.messages().size() + m_copans.messages().size() + m_own.messages().size(), 3U);
    }

    ConfigDirectory m_config;
    LogRecorder m_arrays;
    LogRecorder m_copans;
    LogRecorder m_own;
};

class ClassSession : public ClassSessions, public testing::WithParamInterface<SessionCall> {};

INSTANTIATE_TEST_SUITE_P(All, ClassSession, testing::ValuesIn(session_calls),
                         [](const auto &of_test) { return std::string(of_test.param.name); });

TEST_P(ClassSession, IsTakenFromTheOpeningOfThatClassAlone) {
    OrvSimStorageServer::set_session(m_arrays.session());
    CopanSimStorageServer::set_session(m_copans.session());
    GetParam().call(m_own.session());
    expect_messages_at(GetParam().is_taken_by_disk_arrays ? m_own : m_arrays,
                       GetParam().is_taken_by_copan_arrays ? m_own : m_copans);
}

TEST_F(ClassSessions, StayWhenAHandleOfAnotherSessionIsClosed) {
    for (const char *name : {"Kelvarpool:nodeA", "copan:arr1", "Kelvarpool:", "copan:other"}) {
        sts_server_handle_t handle = nullptr;
        stspi_open_server(m_own.session(), name, nullptr, nullptr, &handle);
        OrvSimStorageServer::set_session(m_arrays.session());
        CopanSimStorageServer::set_session(m_copans.session());
        EXPECT_EQ(stspi_close_server(handle), 0) << name;
        expect_messages_at(m_arrays, m_copans);
    }
}

}  // namespace
