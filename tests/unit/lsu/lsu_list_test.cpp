#include <sys/resource.h>

#include <fstream>
#include <memory>
#include <thread>

#include "plugin/server_handle.h"
#include "tests/unit/lsu/lsu_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A list that is closed when it goes.
class OpenedList {
public:
    explicit OpenedList(const OpenedServer &server)
        : m_status(stspi_open_lsu_list(server.handle(), nullptr, &m_list)) {}
    explicit OpenedList(const stsp_lsu_v7_t &lsu) : m_status(stspi_open_dynamic_lsu_list(&lsu, &m_list)) {}
    ~OpenedList() {
        if (m_list != nullptr)
            stspi_close_lsu_list(m_list);
    }
    OpenedList(const OpenedList &) = delete;
    OpenedList &operator=(const OpenedList &) = delete;

    int32_t status() const { return m_status; }
    sts_lsu_list_handle_t handle() const { return m_list; }

    int32_t next(std::string &name) const {
        char field[STS_LSU_NAME_SIZE] = "";
        const int32_t status = stspi_list_lsu(m_list, field);
        name = field;
        return status;
    }

    // The names to the end, which must be the end of the list.
    std::vector<std::string> rest() const {
        std::vector<std::string> names;
        std::string name;
        int32_t status = 0;
        while ((status = next(name)) == 0)
            names.push_back(name);
        EXPECT_EQ(status, STS_E_NO_MORE_ENTRIES);
        return names;
    }

private:
    sts_lsu_list_handle_t m_list = nullptr;  // before the status, whose making sets it
    int32_t m_status;
};

class LsuList : public LsuTest {};

// ---- pool lists --------------------------------------------------------------------------------------------------

TEST_F(LsuList, PoolsComeInReverseOrder) {
    configure_array(pool("p1", "d1") + pool("p2", "d2") + "ENCLOSURE=p3;\nHOSTS=h2;\n" + pool("p4", "d4"));
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h1"});
    const OpenedList list(server);
    EXPECT_EQ(list.status(), 0);
    EXPECT_THAT(list.rest(), ElementsAre("p4", "p2", "p1"));
}

TEST_F(LsuList, AnyHostOfTheHandleIsEnough) {
    configure_array(pool("p1", "d1") + "ENCLOSURE=p2;\nHOSTS=h2;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h2", "unknown", "h1"});
    EXPECT_THAT(OpenedList(server).rest(), ElementsAre("p2", "p1"));
}

TEST_F(LsuList, ArrayWithoutGroupsIsAtItsEndAtOnce) {
    configure_array("");
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h1"});
    const OpenedList list(server);
    EXPECT_EQ(list.status(), 0);
    std::string name;
    EXPECT_EQ(list.next(name), STS_E_NO_MORE_ENTRIES);
}

TEST_F(LsuList, EndIsToldAgainAndAgain) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h1"});
    const OpenedList list(server);
    list.rest();
    char name[STS_LSU_NAME_SIZE] = "untouched";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(stspi_list_lsu(list.handle(), name), STS_E_NO_MORE_ENTRIES);
    EXPECT_STREQ(name, "untouched");
}

TEST_F(LsuList, SingleHostHandleIsRefusedButAListIsStored) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    ready();
    const OpenedList list(server);
    EXPECT_EQ(list.status(), STS_E_INVALID_PARAMETER);
    EXPECT_NE(list.handle(), nullptr);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_lsu_list"),
                                              error("For ZEPH plugins list of hosts is expected for getPoolLSUList"),
                                              leaving("stspi_open_lsu_list")));
}

TEST_F(LsuList, ListWhoseOpeningFailedGivesNoNames) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    const OpenedList list(server);
    std::string name;
    EXPECT_EQ(list.next(name), STS_E_INVALID_PARAMETER);
}

TEST_F(LsuList, CreatedHandleWithoutHostsIsRefused) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {});
    EXPECT_EQ(OpenedList(server).status(), STS_E_INVALID_PARAMETER);
}

TEST_F(LsuList, NegativeHostCountMakesAListWithoutPools) {
    configure_array(pool("p1", "d1"));
    sts_server_handle_t handle = nullptr;
    EXPECT_EQ(stspi_create_server(nullptr, "Kelvarpool:a", nullptr, nullptr, nullptr, -1, &handle), 0);
    sts_lsu_list_handle_t list = nullptr;
    EXPECT_EQ(stspi_open_lsu_list(handle, nullptr, &list), 0);
    char name[STS_LSU_NAME_SIZE];
    EXPECT_EQ(stspi_list_lsu(list, name), STS_E_NO_MORE_ENTRIES);
    EXPECT_EQ(stspi_close_lsu_list(list), 0);
    EXPECT_EQ(stspi_close_server(handle), 0);
}

TEST_F(LsuList, HandleWithoutAServerObjectIsAnInternalError) {
    configure_array("");
    const OpenedServer null_host(m_log.session(), "Kelvarpool:");
    ready();
    const OpenedList list(null_host);
    EXPECT_EQ(list.status(), STS_E_INTERNAL);
    EXPECT_NE(list.handle(), nullptr);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_lsu_list"), leaving("stspi_open_lsu_list")));
    std::string name;
    EXPECT_EQ(list.next(name), STS_E_INVALID_PARAMETER);
}

TEST_F(LsuList, NullArguments) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h1"});
    const OpenedList list(server);
    ready();
    sts_lsu_list_handle_t untouched = nullptr;
    EXPECT_EQ(stspi_open_lsu_list(nullptr, nullptr, &untouched), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(untouched, nullptr);
    EXPECT_EQ(stspi_open_lsu_list(server.handle(), nullptr, nullptr), STS_E_INVALID_PARAMETER);
    char name[STS_LSU_NAME_SIZE];
    EXPECT_EQ(stspi_list_lsu(nullptr, name), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_list_lsu(list.handle(), nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_close_lsu_list(nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_log.messages(), IsEmpty());
    EXPECT_THAT(list.rest(), ElementsAre("p1"));  // the null name did not advance the list
}

TEST_F(LsuList, EveryCallIsTraced) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h1"});
    ready();
    {
        const OpenedList list(server);
        std::string name;
        list.next(name);
    }
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_open_lsu_list"), leaving("stspi_open_lsu_list"),
                                              entering("stspi_list_lsu"), leaving("stspi_list_lsu"),
                                              entering("stspi_close_lsu_list"), leaving("stspi_close_lsu_list")));
}

TEST_F(LsuList, SeveralListsOfOneHandleGoOnByThemselves) {
    configure_array(pool("p1", "d1") + pool("p2", "d2"));
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h1"});
    const OpenedList first(server);
    std::string name;
    EXPECT_EQ(first.next(name), 0);
    {
        const OpenedList second(server);
        EXPECT_THAT(second.rest(), ElementsAre("p2", "p1"));
    }
    const OpenedList third(server);
    EXPECT_EQ(name, "p2");
    EXPECT_THAT(first.rest(), ElementsAre("p1"));
    EXPECT_THAT(third.rest(), ElementsAre("p2", "p1"));
}

// ---- many lists of one server ------------------------------------------------------------------------------------

// With the thread sanitizer, also a witness that nothing is shared without care.
TEST_F(LsuList, ThreadsWithListsOfTheirOwnShareAServerHandle) {
    configure_array(pool("p1", "d1") + pool("p2", "d2"));
    const OpenedServer server(nullptr, "Kelvarpool:a", {"h1"});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int round = 0; round < 2000; ++round) {
                const OpenedList first(server);
                const OpenedList second(server);
                EXPECT_THAT(first.rest(), ElementsAre("p2", "p1"));
                EXPECT_THAT(second.rest(), ElementsAre("p2", "p1"));
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}

// With the thread sanitizer likewise.
TEST_F(LsuList, ThreadsMayUseAServerHandleInEveryOtherWayAtOnce) {
    configure_array(pool("p1", "d1", "STORAGE_DIR=" + (m_directory / "p1") + ";\n"));
    const OpenedServer server(nullptr, "Kelvarpool:a", {"h1"});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            const std::string mount_point = m_directory / std::to_string(thread);
            const stsp_lsu_v7_t lsu = server.lsu("p1");
            for (int round = 0; round < 50; ++round) {
                const OpenedList pools(server);
                const OpenedList volumes(lsu);
                EXPECT_THAT(pools.rest(), ElementsAre("p1"));
                sts_lsu_info_v9_t info;
                EXPECT_EQ(stspi_get_lsu_prop_byname(&lsu, &info), 0);
                sts_server_info_t server_info{};
                EXPECT_EQ(stspi_get_server_prop(server.handle(), &server_info), 0);
                char result[STS_MOUNT_RESULT_SIZE];
                EXPECT_EQ(stspi_mount_lsu(&lsu, mount_point.c_str(), 1, 0, result), 0);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}

// With the leak sanitizer, also a witness that nothing is left.
TEST_F(LsuList, ListsThatNobodyClosesGoWithTheirServer) {
    configure_array(pool("p1", "d1"));
    configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=v;\n");
    const OpenedServer array(nullptr, "Kelvarpool:a", {"h1"});
    const OpenedServer single_host(nullptr, "Kelvarpool:a");
    const OpenedServer copan(nullptr, "copan:arr1");
    const stsp_lsu_v7_t lsu = array.lsu("p1");
    const stsp_lsu_v7_t unknown = array.lsu("unknown");
    for (int i = 0; i < 3; ++i) {
        sts_lsu_list_handle_t list = nullptr;
        EXPECT_EQ(stspi_open_lsu_list(array.handle(), nullptr, &list), 0);
        EXPECT_EQ(stspi_open_dynamic_lsu_list(&lsu, &list), 0);
        EXPECT_EQ(stspi_open_dynamic_lsu_list(&unknown, &list), STS_E_NO_SERVER);
        EXPECT_EQ(stspi_open_lsu_list(copan.handle(), nullptr, &list), 0);
        EXPECT_EQ(stspi_open_lsu_list(single_host.handle(), nullptr, &list), STS_E_INVALID_PARAMETER);
        const OpenedList closed(array);
    }
}

TEST_F(LsuList, AnyNumberOfListsMayBeOpenAndBeClosedInAnyOrder) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(nullptr, "Kelvarpool:a", {"h1"});
    std::vector<std::unique_ptr<OpenedList>> lists;
    for (int round = 0; round < 3; ++round) {
        while (lists.size() < 50)
            lists.push_back(std::make_unique<OpenedList>(server));
        for (size_t i = 0; i < 40; ++i)
            lists.erase(lists.begin() + static_cast<std::ptrdiff_t>(i * 7 % lists.size()));
    }
    for (const auto &list : lists)
        EXPECT_THAT(list->rest(), ElementsAre("p1"));
}

// ---- Copan lists -------------------------------------------------------------------------------------------------

TEST_F(LsuList, CopanLsusComeInTheOrderOfTheFile) {
    configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=b,a,b,#x;\n");
    const OpenedServer server(m_log.session(), "copan:arr1");
    const OpenedList list(server);
    EXPECT_EQ(list.status(), 0);
    EXPECT_THAT(list.rest(), ElementsAre("b", "a", "b", ""));
}

TEST_F(LsuList, CopanServerWithoutVolumesIsAtItsEndAtOnce) {
    configure_copan("STORAGE_SERVER=arr1;\n");
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_THAT(OpenedList(server).rest(), IsEmpty());
}

// An LSU that can lose its name or hold a long one, which the configuration cannot bring about.
class OddLsu final : public LSU {
public:
    const std::string *getInfo() override { return name.empty() ? nullptr : &name; }
    std::string name;
};

TEST_F(LsuList, CopanLsuWithoutInfoIsNotFoundAndNotPassed) {
    configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=a;\n");
    const OpenedServer server(m_log.session(), "copan:arr1");
    OddLsu lsu;
    server.handle()->sts_object->getLSUList()->insert(server.handle()->sts_object->getLSUList()->begin(), &lsu);
    const OpenedList list(server);
    std::string name;
    EXPECT_EQ(list.next(name), STS_E_NOT_FOUND);
    EXPECT_EQ(list.next(name), STS_E_NOT_FOUND);
    lsu.name = "late";
    EXPECT_THAT(list.rest(), ElementsAre("late", "a"));
}

TEST_F(LsuList, NameLongerThan1023BytesIsCut) {
    configure_copan("STORAGE_SERVER=arr1;\n");
    const OpenedServer server(m_log.session(), "copan:arr1");
    OddLsu lsu;
    lsu.name = std::string(3000, 'n');
    server.handle()->sts_object->getLSUList()->push_back(&lsu);
    const OpenedList list(server);
    char field[STS_LSU_NAME_SIZE + 1];
    field[STS_LSU_NAME_SIZE] = '!';
    EXPECT_EQ(stspi_list_lsu(list.handle(), field), 0);
    EXPECT_EQ(field, std::string(1023, 'n'));
    EXPECT_EQ(field[STS_LSU_NAME_SIZE], '!');
}

TEST_F(LsuList, BytesBehindTheNameStay) {
    configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=abc;\n");
    const OpenedServer server(m_log.session(), "copan:arr1");
    const OpenedList list(server);
    char field[STS_LSU_NAME_SIZE];
    std::memset(field, '!', sizeof field);
    EXPECT_EQ(stspi_list_lsu(list.handle(), field), 0);
    EXPECT_EQ(std::string(field, 6), std::string("abc\0!!", 6));
}

// ---- dynamic lists -----------------------------------------------------------------------------------------------

TEST_F(LsuList, VolumesComeAsTheirIdentifiers) {
    configure_array(pool("p1", "d1,d2,d3") + "UDID_TOKEN=TK;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    const OpenedList list(server.lsu("p1"));
    EXPECT_EQ(list.status(), 0);
    EXPECT_THAT(list.rest(), ElementsAre("#UDID#TK#d1#", "#UDID#TK#d2#", "#UDID#TK#d3#"));
}

TEST_F(LsuList, VolumesWithoutATokenComeAsTheirNames) {
    configure_array(pool("p1", "d1,d2"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_THAT(OpenedList(server.lsu("p1")).rest(), ElementsAre("d1", "d2"));
}

TEST_F(LsuList, PoolWithoutVolumesIsAtItsEndAtOnce) {
    configure_array("ENCLOSURE=p1;\nHOSTS=h1;\n");
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_THAT(OpenedList(server.lsu("p1")).rest(), IsEmpty());
}

TEST_F(LsuList, OpeningOfADynamicListIsNotTraced) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    ready();
    const OpenedList list(server.lsu("p1"));
    EXPECT_THAT(m_log.messages(), IsEmpty());
    std::string name;
    list.next(name);
    EXPECT_THAT(m_log.messages(), ElementsAre(entering("stspi_list_lsu"), leaving("stspi_list_lsu")));
}

TEST_F(LsuList, DynamicListOfAnUnknownPoolStoresAListWithoutAServer) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    ready();
    sts_lsu_list_handle_t list = nullptr;
    const stsp_lsu_v7_t lsu = server.lsu("p2");
    EXPECT_EQ(stspi_open_dynamic_lsu_list(&lsu, &list), STS_E_NO_SERVER);
    ASSERT_NE(list, nullptr);
    char name[STS_LSU_NAME_SIZE] = "untouched";
    EXPECT_EQ(stspi_list_lsu(list, name), STS_E_INVALID_PARAMETER);
    EXPECT_STREQ(name, "untouched");
    EXPECT_EQ(stspi_close_lsu_list(list), 0);
    EXPECT_THAT(m_log.messages(), IsEmpty());  // closing a list without a server says nothing either
}

TEST_F(LsuList, DynamicListOfACopanOrNullHostServerIsRefused) {
    configure_array("");
    configure_copan("STORAGE_SERVER=arr1;\nVOLUMES=v;\n");
    for (const char *name : {"copan:arr1", "Kelvarpool:"}) {
        const OpenedServer server(m_log.session(), name);
        ready();
        const OpenedList list(server.lsu("v"));
        EXPECT_EQ(list.status(), STS_E_INVALID_PARAMETER);
        EXPECT_EQ(list.handle(), nullptr);
        EXPECT_THAT(m_log.messages(),
                    ElementsAre(error("open_dynamic_lsu_list is not supported for non-ZEPH storages")));
    }
}

TEST_F(LsuList, DynamicListWithNullArguments) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    ready();
    sts_lsu_list_handle_t list = nullptr;
    EXPECT_EQ(stspi_open_dynamic_lsu_list(nullptr, &list), STS_E_INVALID_PARAMETER);
    stsp_lsu_v7_t lsu = server.lsu("p1");
    EXPECT_EQ(stspi_open_dynamic_lsu_list(&lsu, nullptr), STS_E_INVALID_PARAMETER);
    lsu.server = nullptr;
    EXPECT_EQ(stspi_open_dynamic_lsu_list(&lsu, &list), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(list, nullptr);
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_F(LsuList, FullNameFieldIsNotReadBeyond) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:h1");
    EXPECT_EQ(OpenedList(server.lsu(std::string(1024, 'p'))).status(), STS_E_NO_SERVER);
}

TEST_F(LsuList, OpenedListNeedNotBeListed) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(m_log.session(), "Kelvarpool:a", {"h1"});
    sts_lsu_list_handle_t list = nullptr;
    ASSERT_EQ(stspi_open_lsu_list(server.handle(), nullptr, &list), 0);
    EXPECT_EQ(stspi_close_lsu_list(list), 0);
}

TEST_F(LsuList, RoundsOfOpeningAndClosingDoNotGrowTheProcess) {
    configure_array(pool("p1", "d1"));
    const OpenedServer server(nullptr, "Kelvarpool:a", {"h1"});
    const auto pages = [] {
        size_t total = 0;
        size_t resident = 0;
        std::ifstream("/proc/self/statm") >> total >> resident;
        return resident;
    };
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i) {
            const OpenedList list(server);
            std::string name;
            list.next(name);
        }
    };
    rounds(2000);  // the allocator and the sanitizers settle
    const size_t before = pages();
    rounds(20000);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LE(pages(), before + 64);
#else
    (void)before;  // a sanitizer keeps freed memory back
#endif
}

}  // namespace
