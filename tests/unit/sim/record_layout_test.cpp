// The order of virtual operations and of record members, which others may have compiled in.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "copan/copan_lsu.h"
#include "plugin/server_handle.h"
#include "sim/disk_array_model.h"
#include "sim/orv_sim_storage_server.h"
#include "sim/storage_server.h"
#include "tests/support/config_directory.h"

namespace {

using testing::ElementsAre;

// ---- virtual operations ------------------------------------------------------------------------------------------

// As the ABI lays objects out: the first word leads to the table of virtual operations; two slots for the destructor.
void *slot(void *object, size_t index) {
    void **table;
    std::memcpy(&table, object, sizeof table);
    return table[index];
}

template <class Function>
Function *slot_as(void *object, size_t index) {
    return reinterpret_cast<Function *>(slot(object, index));
}

// Notes what is called.
class NotingServer : public StorageServer {
public:
    explicit NotingServer(std::vector<std::string> &calls) : m_calls(calls) {}
    ~NotingServer() override { m_calls.emplace_back("destructor"); }
    std::string *getInfo() override {
        m_calls.emplace_back("getInfo");
        return nullptr;
    }
    std::vector<LSU *> *getLSUList() override {
        m_calls.emplace_back("getLSUList");
        return nullptr;
    }
    LSU *getLSU(std::string name) override {
        m_calls.emplace_back("getLSU " + name);
        return nullptr;
    }
    char *generate_path(std::string name) override {
        m_calls.emplace_back("generate_path " + name);
        return nullptr;
    }

private:
    std::vector<std::string> &m_calls;
};

TEST(StorageServerSlots, ComeInTheOrderOfTheInterface) {
    std::vector<std::string> calls;
    auto *server = new NotingServer(calls);
    slot_as<void *(StorageServer *)>(server, 2)(server);
    slot_as<void *(StorageServer *)>(server, 3)(server);
    // A class by value travels by its address.
    std::string name = "n";
    slot_as<void *(StorageServer *, std::string *)>(server, 4)(server, &name);
    slot_as<void *(StorageServer *, std::string *)>(server, 5)(server, &name);
    slot_as<void(StorageServer *)>(server, 1)(server);  // destroys and frees
    EXPECT_THAT(calls, ElementsAre("getInfo", "getLSUList", "getLSU n", "generate_path n", "destructor"));
}

TEST(CopanLsuSlots, NameComesBeforeTheDestructor) {
    auto *lsu = new CopanLSU("vol1");
    const auto *name = slot_as<const std::string *(LSU *)>(lsu, 0)(lsu);
    EXPECT_EQ(*name, "vol1");
    slot_as<void(LSU *)>(lsu, 2)(lsu);  // the destructor that frees, so no leak is found
}

// ---- members -----------------------------------------------------------------------------------------------------

template <class... Members>
void expect_ascending(const Members &...members) {
    const void *addresses[] = {&members...};
    EXPECT_TRUE(std::is_sorted(std::begin(addresses), std::end(addresses)));
}

TEST(RecordMembers, ComeInTheirOrder) {
    const diskgroup_t group;
    expect_ascending(group.name, group.disks, group.hosts, group.volumes, group.disk_size, group.volume_size,
                     group.storage_dir);
    const enclosure_t enclosure;
    expect_ascending(enclosure.name, enclosure.label, enclosure.disks, enclosure.hosts, enclosure.storage_dir,
                     enclosure.disk_size);
    const DynamicLSUInfo info{};
    expect_ascending(info.name, info.id, info.capacity, info.fs_size, info.free_space);
    const ServerHandle handle;
    expect_ascending(handle.handle_kind, handle.host_name, handle.host_list, handle.session, handle.disk_array,
                     handle.sts_object, handle.host_flag);
}

TEST(RecordMembers, OfANewRecordAreEmpty) {
    const diskgroup_t group;
    EXPECT_TRUE(group.disks == nullptr && group.hosts == nullptr && group.volumes == nullptr);
    EXPECT_EQ(group.disk_size + group.volume_size, 0U);
    const enclosure_t enclosure;
    EXPECT_TRUE(enclosure.disks == nullptr && enclosure.hosts == nullptr);
    EXPECT_EQ(enclosure.disk_size, 0U);
    const ServerHandle handle;
    EXPECT_EQ(handle.handle_kind, 0U);
    EXPECT_STREQ(handle.host_name, "");
    EXPECT_EQ(handle.session, nullptr);
    EXPECT_EQ(handle.host_flag, 0);
}

}  // namespace
