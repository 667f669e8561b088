#include <gmock/gmock.h>

#include "copan/copan_sim_storage_server.h"
#include "plugin/server_handle.h"
#include "sim/name_lists.h"
#include "tests/support/config_directory.h"
#include "tests/support/log_recorder.h"
#include "tests/support/servers.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ServerMaking : public testing::Test {
protected:
    ServerMaking() {
        m_config.write("Kelvarpool", "ENCLOSURE=p1;\nHOSTS=h1;\nDISKS=d1;\n");
        m_config.write("copan", "STORAGE_SERVER=nodeB;\nVOLUMES=v;\n");
    }
    ConfigDirectory m_config;
    LogRecorder m_log;
};

// ---- stspi_create_server -----------------------------------------------------------------------------------------

class CreateServer : public ServerMaking {};

TEST_F(CreateServer, HostsMakeAMultiHostHandle) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA", {"h1", "h2", "h3"});
    EXPECT_EQ(server.status(), 0);
    const ServerHandle &handle = *server.handle();
    EXPECT_EQ(handle.handle_kind, 1U);
    EXPECT_EQ(joined_names(handle.host_list.get()), "h1,h2,h3");
    EXPECT_NE(handle.disk_array, nullptr);
    EXPECT_EQ(handle.sts_object, nullptr);
    EXPECT_STREQ(handle.host_name, "");
    EXPECT_EQ(handle.session, m_log.session());
    EXPECT_EQ(handle.host_flag, 1);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_create_server"), trace("Multi Host handle"),
                                              leaving("stspi_create_server")));
}

TEST_F(CreateServer, NoHostsMakeASingleHostHandle) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA", {});
    EXPECT_EQ(server.status(), 0);
    EXPECT_EQ(server.handle()->handle_kind, 0U);
    ASSERT_NE(server.handle()->host_list, nullptr);
    EXPECT_EQ(server.handle()->host_list->size(), 0U);
    EXPECT_NE(server.handle()->disk_array, nullptr);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_create_server"), trace("Single Host handle"),
                                              leaving("stspi_create_server")));
}

TEST_F(CreateServer, NegativeCountMakesAMultiHostHandleWithoutHosts) {
    sts_server_handle_t handle = nullptr;
    EXPECT_EQ(stspi_create_server(m_log.session(), "Kelvarpool:nodeA", nullptr, nullptr, nullptr, -3, &handle), 0);
    EXPECT_EQ(handle->handle_kind, 1U);
    EXPECT_EQ(handle->host_list->size(), 0U);
    EXPECT_EQ(stspi_close_server(handle), 0);
}

TEST_F(CreateServer, ClassesSessionStays) {
    LogRecorder before;
    OrvSimStorageServer::set_session(before.session());
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA", {"h1"});
    m_log.clear();
    EXPECT_EQ(server.handle()->disk_array->mountLSU("nowhere", "v", 1, "localhost", "/nowhere"), -1);
    EXPECT_THAT(m_log.messages(), IsEmpty());
    EXPECT_EQ(before.messages().size(), 1U);
}

TEST_F(CreateServer, HostNamesAreCopied) {
    std::vector<sts_host_t> hosts = host_records({"h1", "h2"});
    sts_server_handle_t handle = nullptr;
    ASSERT_EQ(stspi_create_server(nullptr, "Kelvarpool:nodeA", nullptr, nullptr, hosts.data(), 2, &handle), 0);
    hosts = host_records({"x", "y"});
    EXPECT_EQ(joined_names(handle->host_list.get()), "h1,h2");
    EXPECT_EQ(stspi_close_server(handle), 0);
}

TEST_F(CreateServer, HostNameThatFillsItsRecordIsWhole) {
    const OpenedServer server(nullptr, "Kelvarpool:nodeA", {std::string(2056, 'h'), "next"});
    EXPECT_EQ((*server.handle()->host_list)[0].length(), 2056U);
    EXPECT_STREQ(c_text((*server.handle()->host_list)[1]), "next");
}

TEST_F(CreateServer, ManyHosts) {
    std::vector<std::string> hosts;
    for (int i = 0; i < 2000; ++i)
        hosts.push_back("h" + std::to_string(i));
    const OpenedServer server(nullptr, "Kelvarpool:nodeA", hosts);
    ASSERT_EQ(server.handle()->host_list->size(), 2000U);
    EXPECT_STREQ(c_text((*server.handle()->host_list)[1999]), "h1999");
}

TEST_F(CreateServer, NullOutArgumentIsTraced) {
    EXPECT_EQ(stspi_create_server(m_log.session(), "Kelvarpool:nodeA", nullptr, nullptr, nullptr, 0, nullptr),
              STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_create_server"), leaving("stspi_create_server")));
}

TEST_F(CreateServer, NullHostsWithACountAreInvalid) {
    sts_server_handle_t handle = nullptr;
    EXPECT_EQ(stspi_create_server(m_log.session(), "Kelvarpool:nodeA", nullptr, nullptr, nullptr, 2, &handle),
              STS_E_INVALID_PARAMETER);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(CreateServer, NameThatIsNotSimulatedIsAnInternalErrorAndTheHandleIsStored) {
    for (const char *name : {"other:x", "", static_cast<const char *>(nullptr)}) {
        const OpenedServer multi(m_log.session(), name, {"h1"});
        EXPECT_EQ(multi.status(), STS_E_INTERNAL);
        ASSERT_NE(multi.handle(), nullptr);
        EXPECT_EQ(multi.handle()->handle_kind, 1U);
        EXPECT_EQ(multi.handle()->host_list, nullptr);
        EXPECT_EQ(multi.handle()->disk_array, nullptr);
        const OpenedServer single(m_log.session(), name, {});
        EXPECT_EQ(single.status(), STS_E_INTERNAL);
        EXPECT_EQ(single.handle()->handle_kind, 0U);
    }
}

TEST_F(CreateServer, EmptyHostGivesANullHostHandle) {
    for (const char *name : {"Kelvarpool:", "copan:"}) {
        m_log.clear();
        const OpenedServer server(m_log.session(), name, {"h1"});
        EXPECT_EQ(server.status(), 0);
        EXPECT_EQ(server.handle()->handle_kind, 2U);
        EXPECT_EQ(server.handle()->host_list, nullptr);
        EXPECT_EQ(server.handle()->disk_array, nullptr);
        EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_create_server"), trace("Multi Host handle"),
                                                  leaving("stspi_create_server")));
    }
}

TEST_F(CreateServer, CopanNameIsRefusedAndTheHandleIsStored) {
    const OpenedServer server(m_log.session(), "copan:nodeB", {"h1"});
    EXPECT_EQ(server.status(), STS_E_INTERNAL);
    ASSERT_NE(server.handle(), nullptr);
    EXPECT_EQ(server.handle()->sts_object, nullptr);
    EXPECT_EQ(server.handle()->disk_array, nullptr);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_create_server"), trace("Multi Host handle"),
                                              error("create_server should not be called by non-ZEPH storages"),
                                              leaving("stspi_create_server")));
}

// ---- stspi_open_target_server ------------------------------------------------------------------------------------

class OpenTargetServer : public ServerMaking {
protected:
    int32_t open(const char *target_name) {
        m_log.clear();
        return stspi_open_target_server(m_source.handle(), target_name, nullptr, nullptr, &m_target);
    }
    OpenedServer m_source{m_log.session(), "Kelvarpool:nodeA"};
    sts_server_handle_t m_target = nullptr;
};

TEST_F(OpenTargetServer, CopanName) {
    EXPECT_EQ(open("copan:nodeB"), 0);
    ASSERT_NE(m_target, nullptr);
    EXPECT_EQ(m_target->handle_kind, 0U);
    EXPECT_STREQ(m_target->host_name, "nodeB");
    EXPECT_NE(m_target->sts_object, nullptr);
    EXPECT_EQ(m_target->disk_array, nullptr);
    EXPECT_EQ(m_target->host_list, nullptr);
    EXPECT_EQ(m_target->session, m_log.session());
    EXPECT_EQ(m_target->host_flag, 1);
    EXPECT_THAT(m_log.messages(),
                ElementsAre(entering("stspi_open_target_server"), leaving("stspi_open_target_server")));
    EXPECT_EQ(stspi_close_server(m_target), 0);
}

TEST_F(OpenTargetServer, ClassesSessionStays) {
    LogRecorder before;
    CopanSimStorageServer::set_session(before.session());
    EXPECT_EQ(open("copan:nodeB"), 0);
    EXPECT_EQ(m_target->sts_object->generate_path("v"), nullptr);
    EXPECT_EQ(before.messages().size(), 2U);
    EXPECT_EQ(stspi_close_server(m_target), 0);
}

TEST_F(OpenTargetServer, DiskArrayNameIsRefused) {
    EXPECT_EQ(open("Kelvarpool:nodeA"), STS_E_INTERNAL);
    EXPECT_NE(m_target, nullptr);  // stored, but freed: nobody may use it
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_target_server"),
                                              error("target server not yet implemented for Kelvarpool "),
                                              leaving("stspi_open_target_server")));
}

TEST_F(OpenTargetServer, EmptyHostIsRefused) {
    for (const char *name : {"copan:", "Kelvarpool:"}) {
        EXPECT_EQ(open(name), STS_E_INTERNAL);
        EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_target_server"),
                                                  error("NULL server handle not supported for target server"),
                                                  leaving("stspi_open_target_server")));
    }
}

TEST_F(OpenTargetServer, NameThatIsNotSimulatedIsAnInternalErrorAndTheHandleIsStored) {
    EXPECT_EQ(open("other:x"), STS_E_INTERNAL);
    ASSERT_NE(m_target, nullptr);
    EXPECT_EQ(m_target->sts_object, nullptr);
    EXPECT_STREQ(m_target->host_name, "");
    EXPECT_THAT(m_log.messages(),
                ElementsAre(entering("stspi_open_target_server"), leaving("stspi_open_target_server")));
    EXPECT_EQ(stspi_close_server(m_target), 0);
}

TEST_F(OpenTargetServer, CopanArrayThatIsNotInItsFileIsAnInternalErrorAndTheHandleIsStored) {
    EXPECT_EQ(open("copan:other"), STS_E_INTERNAL);
    ASSERT_NE(m_target, nullptr);
    EXPECT_EQ(m_target->sts_object, nullptr);
    EXPECT_STREQ(m_target->host_name, "other");
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_target_server"), error("copan:other"),
                                              error("StorageServer not found"), leaving("stspi_open_target_server")));
    EXPECT_EQ(stspi_close_server(m_target), 0);
}

TEST_F(OpenTargetServer, NullNameOrOutArgumentIsTraced) {
    EXPECT_EQ(open(nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(m_target, nullptr);
    EXPECT_THAT(m_log.messages(),
                ElementsAre(entering("stspi_open_target_server"), leaving("stspi_open_target_server")));
    m_log.clear();
    EXPECT_EQ(stspi_open_target_server(m_source.handle(), "copan:nodeB", nullptr, nullptr, nullptr),
              STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_log.messages(),
                ElementsAre(entering("stspi_open_target_server"), leaving("stspi_open_target_server")));
}

TEST_F(OpenTargetServer, NullSourceIsNotTraced) {
    m_log.clear();
    EXPECT_EQ(stspi_open_target_server(nullptr, "copan:nodeB", nullptr, nullptr, &m_target), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(m_target, nullptr);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(OpenTargetServer, LongHostIsCutAt511Bytes) {
    m_config.write("long", "STORAGE_SERVER=x;\n" + std::string(10, '\n') + "no equals sign\n");
    EXPECT_EQ(open(("long:" + std::string(3000, 'h')).c_str()), 0);
    EXPECT_EQ(m_target->host_name, std::string(511, 'h'));
    EXPECT_EQ(stspi_close_server(m_target), 0);
}

}  // namespace
