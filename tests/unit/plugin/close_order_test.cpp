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

class ServerThatNotesItsEnd : public StorageServer {
public:
    explicit ServerThatNotesItsEnd(Gone &gone) : m_gone(gone) {}
    ~ServerThatNotesItsEnd() override { m_gone.emplace_back("server object"); }
    std::string *getInfo() override { return nullptr; }
    std::vector<LSU *> *getLSUList() override { return nullptr; }
    LSU *getLSU(std::string) override { return nullptr; }
    char *generate_path(std::string) override { return nullptr; }

private:
    Gone &m_gone;
};

// The memory of the host list; notes when it is given back.
class NotingAllocator : public ACE_New_Allocator {
public:
    explicit NotingAllocator(Gone &gone) : m_gone(gone) {}

    void free(void *memory) override {
        m_gone.emplace_back("host list");
        ACE_New_Allocator::free(memory);
    }

private:
    Gone &m_gone;
};

TEST(CloseServerOrder, DiskArrayThenServerObjectThenHostNames) {
    Gone gone;
    NotingAllocator allocator(gone);
    // No call makes a handle with all three.
    ServerHandle *handle = new_server_handle(nullptr);
    handle->disk_array = std::make_unique<NotingDiskArray>(gone);
    handle->sts_object = std::make_unique<ServerThatNotesItsEnd>(gone);
    handle->host_list = std::make_unique<NameList>(2, &allocator);
    EXPECT_EQ(stspi_close_server(handle), 0);
    EXPECT_THAT(gone, ElementsAre("disk array", "server object", "host list"));
}

}  // namespace
