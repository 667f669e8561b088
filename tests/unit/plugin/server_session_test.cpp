// Opening and closing of servers, and the factory behind them.
#include <gmock/gmock.h>

#include <cstring>
#include <memory>

#include "copan/copan_sim_storage_server.h"
#include "plugin/server_factory.h"
#include "plugin/server_handle.h"
#include "sim/sts_exception.h"
#include "tests/support/captured_output.h"
#include "tests/support/config_directory.h"
#include "tests/support/log_recorder.h"
#include "tests/support/servers.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OpenServer : public testing::Test {
protected:
    OpenServer() {
        m_config.write("Kelvarpool", "ENCLOSURE=p1;\nHOSTS=h1;\nDISKS=d1;\n");
        m_config.write("copan", "STORAGE_SERVER=nodeB;\nVOLUMES=v;\n");
        m_config.write("lab", "STORAGE_SERVER=nodeC;\nSTORAGE_SERVER=x;\nSTORAGE_SERVER=lab;\n");
    }

    // Every byte of a handle that nothing was set in.
    static void expect_no_server_object(const ServerHandle &handle) {
        EXPECT_EQ(handle.disk_array, nullptr);
        EXPECT_EQ(handle.sts_object, nullptr);
        EXPECT_EQ(handle.host_list, nullptr);
    }

    ConfigDirectory m_config;
    LogRecorder m_log;
};

TEST_F(OpenServer, DiskArrayName) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(server.status(), 0);
    const ServerHandle &handle = *server.handle();
    EXPECT_EQ(handle.handle_kind, 0U);
    EXPECT_STREQ(handle.host_name, "nodeA");
    EXPECT_NE(handle.disk_array, nullptr);
    EXPECT_EQ(handle.sts_object, nullptr);
    EXPECT_EQ(handle.host_list, nullptr);
    EXPECT_EQ(handle.session, m_log.session());
    EXPECT_EQ(handle.host_flag, 1);
    EXPECT_NE(handle.disk_array->getPoolLSUInfo("p1"), nullptr);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_server"), trace("Kelvarpool:nodeA"),
                                              trace("KELVARPOOL "), leaving("stspi_open_server")));
}

TEST_F(OpenServer, CopanName) {
    for (const char *name : {"copan:nodeB", "lab:nodeC"}) {
        m_log.clear();
        const OpenedServer server(m_log.session(), name);
        EXPECT_EQ(server.status(), 0);
        const ServerHandle &handle = *server.handle();
        EXPECT_EQ(handle.handle_kind, 0U);
        EXPECT_STREQ(handle.host_name, std::strchr(name, ':') + 1);
        EXPECT_EQ(handle.disk_array, nullptr);
        ASSERT_NE(handle.sts_object, nullptr);
        EXPECT_EQ(*handle.sts_object->getInfo(), handle.host_name);
        EXPECT_EQ(handle.host_flag, 1);
        EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_server"), trace(name), trace("STS-DYNAMIC "),
                                                  leaving("stspi_open_server")));
    }
}

TEST_F(OpenServer, PrefixLaterInTheNameIsNoDiskArray) {
    const OpenedServer server(m_log.session(), "lab:x Kelvarpool:y");
    EXPECT_EQ(server.status(), STS_E_INTERNAL);  // the factory's way: no section of that name
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_server"), trace("lab:x Kelvarpool:y"),
                                              trace("STS-DYNAMIC "), error("lab:x Kelvarpool:y"),
                                              error("StorageServer not found"), leaving("stspi_open_server")));
    expect_no_server_object(*server.handle());
}

TEST_F(OpenServer, EmptyHostGivesANullHostHandle) {
    // The simulators keep the session they had: an unknown pool would be logged there.
    LogRecorder before;
    OrvSimStorageServer::set_session(before.session());
    const OpenedServer server(m_log.session(), "Kelvarpool:");
    EXPECT_EQ(server.status(), 0);
    EXPECT_EQ(server.handle()->handle_kind, 2U);
    EXPECT_STREQ(server.handle()->host_name, "");
    expect_no_server_object(*server.handle());
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_server"), trace("Kelvarpool:"), error("NULL HOST"),
                                              leaving("stspi_open_server")));
    OrvSimStorageServer array("lab:x");
    EXPECT_EQ(array.mountLSU("nowhere", "v", 1, "localhost", "/nowhere"), -1);
    EXPECT_THAT(before.messages(), ElementsAre(error("Unknown Diskgroup: nowhere\n")));
}

TEST_F(OpenServer, EmptyHostOfACopanNameGivesANullHostHandleToo) {
    const OpenedServer server(m_log.session(), "copan:");
    EXPECT_EQ(server.status(), 0);
    EXPECT_EQ(server.handle()->handle_kind, 2U);
    expect_no_server_object(*server.handle());
}

TEST_F(OpenServer, NameWithoutColonIsItsOwnPrefixAndHost) {
    const CapturedOutput output;
    const OpenedServer server(m_log.session(), "lab");
    EXPECT_EQ(server.status(), 0);
    EXPECT_STREQ(server.handle()->host_name, "lab");
    EXPECT_EQ(server.handle()->handle_kind, 0U);
    EXPECT_NE(server.handle()->sts_object, nullptr);
    EXPECT_EQ(output.text(), "Error in server_name\n");  // the simulator's; the open succeeds all the same
}

TEST_F(OpenServer, NameThatIsNotSimulatedIsAnInternalErrorAndTheHandleIsStored) {
    for (const char *name : {"other:x", ""}) {
        m_log.clear();
        const OpenedServer server(m_log.session(), name);
        EXPECT_EQ(server.status(), STS_E_INTERNAL);
        ASSERT_NE(server.handle(), nullptr);
        EXPECT_EQ(server.handle()->handle_kind, 0U);
        EXPECT_STREQ(server.handle()->host_name, "");
        expect_no_server_object(*server.handle());
        EXPECT_THAT(m_log.messages(),
                    ElementsAre(entering("stspi_open_server"), trace(name), leaving("stspi_open_server")));
    }
}

TEST_F(OpenServer, NullNameIsNotSimulated) {
    const OpenedServer server(m_log.session(), nullptr);
    EXPECT_EQ(server.status(), STS_E_INTERNAL);
    EXPECT_NE(server.handle(), nullptr);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_server"), leaving("stspi_open_server")));
}

TEST_F(OpenServer, NullOutArgumentIsTraced) {
    EXPECT_EQ(stspi_open_server(m_log.session(), "Kelvarpool:nodeA", nullptr, nullptr, nullptr),
              STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_server"), leaving("stspi_open_server")));
}

TEST_F(OpenServer, CopanArrayThatIsNotInItsFileIsAnInternalErrorAndTheHandleIsStored) {
    const OpenedServer server(m_log.session(), "copan:other");
    EXPECT_EQ(server.status(), STS_E_INTERNAL);
    ASSERT_NE(server.handle(), nullptr);
    EXPECT_STREQ(server.handle()->host_name, "other");
    expect_no_server_object(*server.handle());
    EXPECT_THAT(m_log.messages(),
                ElementsAre(entering("stspi_open_server"), trace("copan:other"), trace("STS-DYNAMIC "),
                            error("copan:other"), error("StorageServer not found"), leaving("stspi_open_server")));
}

TEST_F(OpenServer, FailedCopanOpeningLeavesTheClassesSession) {
    LogRecorder before;
    CopanSimStorageServer::set_session(before.session());
    const OpenedServer failed(m_log.session(), "copan:other");
    CopanSimStorageServer copan("copan:nodeB");
    EXPECT_EQ(copan.generate_path("v"), nullptr);
    EXPECT_EQ(before.messages().size(), 2U);
}

TEST_F(OpenServer, LastOpeningsSessionIsTheClassesOwn) {
    LogRecorder later;
    const OpenedServer first(m_log.session(), "copan:nodeB");
    const OpenedServer second(later.session(), "copan:nodeB");
    m_log.clear();
    later.clear();
    EXPECT_EQ(first.handle()->sts_object->generate_path("v"), nullptr);
    EXPECT_THAT(m_log.messages(), IsEmpty());
    EXPECT_EQ(later.messages().size(), 2U);
}

TEST_F(OpenServer, ClassesSessionSurvivesTheClosing) {
    { const OpenedServer server(m_log.session(), "Kelvarpool:nodeA"); }
    m_log.clear();
    OrvSimStorageServer array("Kelvarpool:x");
    EXPECT_EQ(array.mountLSU("nowhere", "v", 1, "localhost", "/nowhere"), -1);
    EXPECT_THAT(m_log.messages(), ElementsAre(error("Unknown Diskgroup: nowhere\n")));
}

TEST_F(OpenServer, LongHostIsCutAt511Bytes) {
    const OpenedServer server(m_log.session(), ("Kelvarpool:" + std::string(3000, 'h')).c_str());
    EXPECT_EQ(server.status(), 0);
    EXPECT_EQ(server.handle()->host_name, std::string(511, 'h'));
    EXPECT_EQ(server.handle()->session, m_log.session());
}

TEST_F(OpenServer, HostOf511BytesIsWhole) {
    const OpenedServer server(nullptr, ("Kelvarpool:" + std::string(511, 'h')).c_str());
    EXPECT_EQ(server.handle()->host_name, std::string(511, 'h'));
}

TEST_F(OpenServer, HostMayHoldColons) {
    const OpenedServer server(nullptr, "Kelvarpool:a:b");
    EXPECT_STREQ(server.handle()->host_name, "a:b");
}

TEST_F(OpenServer, WithoutASessionItWorksTheSame) {
    const OpenedServer server(nullptr, "Kelvarpool:nodeA");
    EXPECT_EQ(server.status(), 0);
    EXPECT_EQ(server.handle()->session, nullptr);
}

// ---- closing -----------------------------------------------------------------------------------------------------

class CloseServer : public OpenServer {};

TEST_F(CloseServer, NullHandleIsInvalid) { EXPECT_EQ(stspi_close_server(nullptr), STS_E_INVALID_PARAMETER); }

TEST_F(CloseServer, BothTraceLinesAndNothingElse) {
    for (const char *name : {"Kelvarpool:nodeA", "copan:nodeB", "Kelvarpool:", "copan:other", "unknown:x"}) {
        sts_server_handle_t handle = nullptr;
        stspi_open_server(m_log.session(), name, nullptr, nullptr, &handle);
        m_log.clear();
        EXPECT_EQ(stspi_close_server(handle), 0) << name;
        EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_close_server"), leaving("stspi_close_server")));
    }
}

// A server that notes when it goes.
class NotingServer : public StorageServer {
public:
    explicit NotingServer(std::vector<Message> &messages, const LogRecorder &log) : m_gone(messages), m_log(log) {}
    ~NotingServer() override { m_gone = m_log.messages(); }
    std::string *getInfo() override { return nullptr; }
    std::vector<LSU *> *getLSUList() override { return nullptr; }
    LSU *getLSU(std::string) override { return nullptr; }
    char *generate_path(std::string) override { return nullptr; }

private:
    std::vector<Message> &m_gone;
    const LogRecorder &m_log;
};

TEST_F(CloseServer, TraceLinesComeBeforeTheServerObjectGoes) {
    std::vector<Message> when_gone;
    ServerHandle *handle = new_server_handle(m_log.session());
    handle->sts_object = std::make_unique<NotingServer>(when_gone, m_log);
    EXPECT_EQ(stspi_close_server(handle), 0);
    EXPECT_THAT(when_gone, ElementsAre(entering("stspi_close_server"), leaving("stspi_close_server")));
}

TEST_F(CloseServer, LsuOfACopanServerOutlivesIt) {
    sts_server_handle_t handle = nullptr;
    ASSERT_EQ(stspi_open_server(nullptr, "copan:nodeB", nullptr, nullptr, &handle), 0);
    LSU *lsu = handle->sts_object->getLSU("v");
    ASSERT_NE(lsu, nullptr);
    EXPECT_EQ(stspi_close_server(handle), 0);
    EXPECT_EQ(*lsu->getInfo(), "v");
}

// ---- the factory -------------------------------------------------------------------------------------------------

class ServerFactory : public OpenServer {};

TEST_F(ServerFactory, NullOrEmptyNameGivesNull) {
    EXPECT_EQ(generateSTSObject(nullptr), nullptr);
    EXPECT_EQ(generateSTSObject(""), nullptr);
}

TEST_F(ServerFactory, EveryPrefixGivesACopanServer) {
    for (const char *name : {"copan:nodeB", "lab:nodeC", "missing:x"}) {
        const std::unique_ptr<StorageServer> server(generateSTSObject(name));
        EXPECT_NE(dynamic_cast<CopanSimStorageServer *>(server.get()), nullptr) << name;
    }
}

TEST_F(ServerFactory, ExceptionOfTheServerPasses) { EXPECT_THROW(generateSTSObject("copan:other"), STSException); }

}  // namespace
