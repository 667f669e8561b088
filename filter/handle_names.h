// What handles stand for. Handles pass through the filter as they are; this tells which names they were opened for.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "journal/entry_points.h"
#include "stspi/stspi.h"

namespace filter {

// The way a list is told other than the plug-in tells it.
struct ListState {
    std::mutex lock;
    std::vector<std::string> waiting;  // entries to be given next, the last first
    bool ends_after_waiting = false;   // the plug-in has no more
};

struct HandleNames {
    const sts_session_def_v7_t *session = nullptr;
    std::string server;
    std::vector<std::string> hosts;  // those of a multi-host handle, or else the HOST part of the server's name
    std::string lsu;
    std::string image;
    std::shared_ptr<ListState> list;
};

class HandleMap {
public:
    using Names = std::shared_ptr<const HandleNames>;

    using HandleKind = journal::HandleKind;

    void add(HandleKind kind, const void *handle, HandleNames names);
    void remove(HandleKind kind, const void *handle);
    // Null for a handle that was opened before the filter looked, or never.
    Names find(HandleKind kind, const void *handle);

    // Around a fork.
    void lock_all();
    void unlock_all();

private:
    struct Shard {
        std::mutex lock;
        std::array<std::unordered_map<const void *, Names>, 5> names;  // by the kind
        auto &of(HandleKind kind) { return names[static_cast<size_t>(kind)]; }
    };
    Shard &shard_of(const void *handle);

    std::array<Shard, 16> m_shards;
};

}  // namespace filter
