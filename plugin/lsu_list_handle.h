// What stands behind the framework's list handle.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "plugin/open_lists.h"
#include "sim/disk_array_model.h"
#include "sim/storage_server.h"

enum ListKind : uint32_t { copan_list = 0, dynamic_list = 2, pool_list = 3 };

struct ServerHandle;

// Made by the calls that open a list, released by stspi_close_lsu_list, or with its server. Only the pointer of the
// list's kind is set, none after a failed opening.
struct LsuListHandle {
    ListKind kind = copan_list;
    uint32_t cursor = 0;
    ServerHandle *server = nullptr;
    std::unique_ptr<const DiskGroupTable> pool_list;  // left with the server when the list is closed
    const NameList *dynamic_names = nullptr;          // the disk array's
    const std::vector<LSU *> *copan_lsus = nullptr;   // the Copan server's
    OpenLists::Place *place = nullptr;                // in the server's open lists
};
