// What stands behind the framework's server handle.
#pragma once

#include <cstdint>
#include <memory>

#include "plugin/open_lists.h"
#include "sim/orv_sim_storage_server.h"
#include "sim/storage_server.h"
#include "stspi/sts_types.h"

enum HandleKind : uint32_t { single_host = 0, multi_host = 1, null_host = 2 };

// Made empty by the calls that open a server, released by stspi_close_server, or by stspi_open_target_server when it
// refuses a claimed name. At most one of the two server objects is set; a null-host handle and one of a failed open have
// none. Only open_lists changes once the handle is open.
struct ServerHandle {
    ServerHandle() = default;
    // Releases the disk array, the server object and the host list, in this order.
    ~ServerHandle();
    ServerHandle(const ServerHandle &) = delete;
    ServerHandle &operator=(const ServerHandle &) = delete;

    HandleKind handle_kind = single_host;
    char host_name[STS_SERVER_NAME_SIZE] = "";  // the server name behind its first ':'
    std::unique_ptr<NameList> host_list;        // multi-host handles
    const sts_session_def_v7_t *session = nullptr;
    std::unique_ptr<OrvSimStorageServer> disk_array;
    std::unique_ptr<StorageServer> sts_object;
    uint8_t host_flag = 0;  // match any host, not all
    OpenLists open_lists;
};

// A new handle with its session and host flag set.
ServerHandle *new_server_handle(const sts_session_def_v7_t *session);
