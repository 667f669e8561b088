// What closing a server releases first.
#include <ace/Malloc_Allocator.h>
#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "plugin/server_handle.h"
#include "stspi/stspi.h"

namespace {

using testing::ElementsAre;

using Gone = std::vector<std::string>;

class NotingDiskArray : public OrvSimStorageServer {
public:
    explicit NotingDiskArray(Gone &gone) : OrvSimStorageServer(""), m_gone(gone) {}
    ~NotingDiskArray() override { m_gone.emplace_back("disk array"); }

private:
    Gone &m_gone;
};

class NotingServer : public StorageServer {
public:
    explicit NotingServer(Gone &gone) : m_gone(gone) {}
    ~NotingServer() override { m_gone.emplace_back("server object"); }
    std::string *getInfo() override { return nullptr; }
    std::vector<LSU *> *getLSUList() override { return nullptr; }
    LSU *getLSU(std::string) override { return nullptr; }
    char *generate_path(std::string) override { return nullptr; }

private:
    Gone &m_gone;
};

// The memory of the host names; notes each one that is given back.
class NotingAllocator : public ACE_New_Allocator {
public:
    explicit NotingAllocator(Gone &gone) : m_gone(gone), m_previous(ACE_Allocator::instance(this)) {}
    ~NotingAllocator() override { ACE_Allocator::instance(m_previous); }

    void *malloc(size_t size) override {
        return is_name(size) ? m_names.emplace_back(ACE_New_Allocator::malloc(size)) : ACE_New_Allocator::malloc(size);
    }
    void free(void *memory) override {
        for (void *&name : m_names)
            if (memory != nullptr && name == memory) {
                m_gone.emplace_back("host name");
                name = nullptr;
            }
        ACE_New_Allocator::free(memory);
    }

    static constexpr size_t name_length = 1234;

private:
    // Of a length that nothing else has.
    static bool is_name(size_t size) { return size == name_length + 1; }

    Gone &m_gone;
    std::vector<void *> m_names;
    ACE_Allocator *m_previous;
};

TEST(CloseServerOrder, DiskArrayThenServerObjectThenHostNames) {
    Gone gone;
    NotingAllocator allocator(gone);
    // No call makes a handle with all three.
    ServerHandle *handle = new_server_handle(nullptr);
    handle->disk_array = new NotingDiskArray(gone);
    handle->sts_object = new NotingServer(gone);
    handle->host_list = new NameList;
    resize(*handle->host_list, 2);
    for (size_t i = 0; i < 2; ++i)
        (*handle->host_list)[i] = std::string(NotingAllocator::name_length, 'h').c_str();
    gone.clear();
    EXPECT_EQ(stspi_close_server(handle), 0);
    EXPECT_THAT(gone, ElementsAre("disk array", "server object", "host name", "host name"));
}

}  // namespace
