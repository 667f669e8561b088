// What stands behind the framework's server handle.
#pragma once

#include <memory>
#include <vector>

#include "sim/orv_sim_storage_server.h"
#include "sim/storage_server.h"
#include "stspi/sts_types.h"

enum HandleKind : uint32_t { single_host = 0, multi_host = 1, null_host = 2 };

// Made empty by the calls that open a server, released by stspi_close_server, or by stspi_open_target_server when it
// refuses the name. At most one of the two
// server objects is set; a null-host handle and one of a failed open have none.
struct ServerHandle {
    uint32_t handle_kind = single_host;
    char host_name[STS_SERVER_NAME_SIZE] = "";  // the server name behind its first ':'
    NameList *host_list = nullptr;              // owned; multi-host handles
    const sts_session_def_v7_t *session = nullptr;
    OrvSimStorageServer *disk_array = nullptr;  // owned
    StorageServer *sts_object = nullptr;        // owned
    uint8_t host_flag = 0;                      // match any host, not all

    // Arrays behind the pool lists of this handle: those of lists that are open, and those of closed lists, which the
    // next opening releases. Without a lock, as the handle is one thread's.
    std::vector<std::unique_ptr<DiskGroupTable>> open_pools;
    std::vector<std::unique_ptr<DiskGroupTable>> parked_pools;
};

// A new handle with its session and host flag set.
ServerHandle *new_server_handle(const sts_session_def_v7_t *session);
