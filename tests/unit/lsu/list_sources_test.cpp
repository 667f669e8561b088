// What a list is made of, and lists that no opening makes.
#include "plugin/server_handle.h"
#include "sim/array_size.h"
#include "tests/unit/lsu/lsu_test.h"

namespace {

using testing::ElementsAre;

class ListSource : public LsuTest {
protected:
    // The names to the end of a list, which is closed then.
    static std::vector<std::string> names_of(sts_lsu_list_handle_t list) {
        std::vector<std::string> names;
        char name[STS_LSU_NAME_SIZE];
        int32_t status = 0;
        while ((status = stspi_list_lsu(list, name)) == 0)
            names.emplace_back(name);
        EXPECT_EQ(status, 2060013);
        EXPECT_EQ(stspi_close_lsu_list(list), 0);
        return names;
    }
    static std::vector<std::string> pools_of(sts_server_handle_t handle) {
        sts_lsu_list_handle_t list = nullptr;
        EXPECT_EQ(stspi_open_lsu_list(handle, nullptr, &list), 0);
        return names_of(list);
    }
};

TEST_F(ListSource, HandlesFlagDecidesBetweenAnyAndAllHosts) {
    configure_array(pool("p1", "d1") + "ENCLOSURE=p2;\nHOSTS=h1,h2;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h1", "h2"});
    EXPECT_THAT(pools_of(server.handle()), ElementsAre("p2", "p1"));
    server.handle()->host_flag = 0;
    EXPECT_THAT(pools_of(server.handle()), ElementsAre("p2"));
    server.handle()->host_flag = 0x80;  // any bit counts
    EXPECT_THAT(pools_of(server.handle()), ElementsAre("p2", "p1"));
}

TEST_F(ListSource, DynamicListIsOfVolumesNotOfDisks) {
    configure_array(pool("p1", "d1,d2"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    // In a file of this array every disk is a volume; only by hand do they differ.
    NameList &volumes = *server.handle()->disk_array->getPoolLSUInfo("p1")->volumes;
    resize(volumes, 3);
    for (size_t i = 0; i < 3; ++i)
        volumes[i] = ("v" + std::to_string(i)).c_str();
    const stsp_lsu_v7_t lsu = server.lsu("p1");
    sts_lsu_list_handle_t list = nullptr;
    ASSERT_EQ(stspi_open_dynamic_lsu_list(&lsu, &list), 0);
    EXPECT_THAT(names_of(list), ElementsAre("v0", "v1", "v2"));
}

TEST_F(ListSource, CountOfADynamicListIsReadAfresh) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    const stsp_lsu_v7_t lsu = server.lsu("p1");
    sts_lsu_list_handle_t list = nullptr;
    ASSERT_EQ(stspi_open_dynamic_lsu_list(&lsu, &list), 0);
    char name[STS_LSU_NAME_SIZE];
    EXPECT_EQ(stspi_list_lsu(list, name), 0);
    EXPECT_EQ(stspi_list_lsu(list, name), 2060013);
    NameList &volumes = *server.handle()->disk_array->getPoolLSUInfo("p1")->volumes;
    resize(volumes, 2);
    volumes[1] = "late";
    EXPECT_THAT(names_of(list), ElementsAre("late"));
}

// The first three fields of what stands behind a list handle, in their order; no opening makes the values set here.
struct ListHead {
    uint32_t kind;
    uint32_t cursor;
    sts_server_handle_t server;
};

ListHead &head_of(sts_lsu_list_handle_t list) { return *reinterpret_cast<ListHead *>(list); }

class DamagedList : public ListSource {
protected:
    DamagedList() {
        configure_array(pool("p1", "d1,d2"));
        configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=v;\n");
    }
    sts_lsu_list_handle_t m_list = nullptr;
    char m_name[STS_LSU_NAME_SIZE] = "untouched";
};

TEST_F(DamagedList, HeadHoldsKindCursorAndServer) {
    const OpenedServer array(nullptr, "Kelvarpool:a", {"h1"});
    const OpenedServer copan(nullptr, "copan:arr1");
    const stsp_lsu_v7_t lsu = array.lsu("p1");
    for (const uint32_t kind : {0U, 2U, 3U}) {
        sts_lsu_list_handle_t list = nullptr;
        const sts_server_handle_t server = kind == 0 ? copan.handle() : array.handle();
        EXPECT_EQ(kind == 2 ? stspi_open_dynamic_lsu_list(&lsu, &list) : stspi_open_lsu_list(server, nullptr, &list),
                  0);
        EXPECT_EQ(head_of(list).kind, kind);
        EXPECT_EQ(head_of(list).cursor, 0U);
        EXPECT_EQ(head_of(list).server, server);
        EXPECT_EQ(stspi_list_lsu(list, m_name), 0);
        EXPECT_EQ(head_of(list).cursor, 1U);
        EXPECT_EQ(stspi_close_lsu_list(list), 0);
    }
}

TEST_F(DamagedList, UnknownKindIsInvalid) {
    const OpenedServer server(nullptr, "copan:arr1");
    ASSERT_EQ(stspi_open_lsu_list(server.handle(), nullptr, &m_list), 0);
    for (const uint32_t kind : {1U, 4U, 5U, 0xffffffffU}) {
        head_of(m_list).kind = kind;
        EXPECT_EQ(stspi_list_lsu(m_list, m_name), 2060001) << kind;
        EXPECT_EQ(head_of(m_list).cursor, 0U);
    }
    EXPECT_STREQ(m_name, "untouched");
    head_of(m_list).kind = 0;
    EXPECT_EQ(stspi_list_lsu(m_list, m_name), 0);
    EXPECT_EQ(stspi_close_lsu_list(m_list), 0);
}

TEST_F(DamagedList, DynamicListWithoutItsServerIsInvalidUntilItsEnd) {
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    const stsp_lsu_v7_t lsu = server.lsu("p1");
    ASSERT_EQ(stspi_open_dynamic_lsu_list(&lsu, &m_list), 0);
    head_of(m_list).server = nullptr;
    ready();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(stspi_list_lsu(m_list, m_name), 2060001);
    EXPECT_STREQ(m_name, "untouched");
    EXPECT_EQ(head_of(m_list).cursor, 0U);
    head_of(m_list).cursor = 2;  // the end is looked for first
    EXPECT_EQ(stspi_list_lsu(m_list, m_name), 2060013);
    EXPECT_EQ(stspi_close_lsu_list(m_list), 0);
    EXPECT_THAT(m_log.messages(), testing::IsEmpty());  // nobody to trace to
}

}  // namespace
