#include "base/text_field.h"
#include "plugin/message_log.h"
#include "plugin/server_handle.h"
#include "plugin/trace_object.h"
#include "stspi/stspi.h"

namespace {

enum ListKind : uint32_t { copan_list = 0, dynamic_list = 2, pool_list = 3 };

}  // namespace

// What stands behind the framework's list handle. Only the pointer of the list's kind is set, none after a failed
// opening. Nothing it points to is the list's own.
struct LsuListHandle {
    uint32_t kind = copan_list;
    uint32_t cursor = 0;
    ServerHandle *server = nullptr;
    const DiskGroupTable *pool_list = nullptr;
    const NameList *dynamic_names = nullptr;
    const std::vector<LSU *> *copan_lsus = nullptr;
};

namespace {

int32_t next_pool(const LsuListHandle &list, char *out_name) {
    if (list.cursor == list.pool_list->size())
        return STS_E_NO_MORE_ENTRIES;
    copy_text(out_name, STS_LSU_NAME_SIZE, c_text((*list.pool_list)[list.cursor].name));
    return 0;
}

int32_t next_volume(const LsuListHandle &list, char *out_name) {
    if (list.cursor == name_count(list.dynamic_names))
        return STS_E_NO_MORE_ENTRIES;
    if (list.server == nullptr)
        return STS_E_INVALID_PARAMETER;
    const Name udid = list.server->disk_array->getUDID((*list.dynamic_names)[list.cursor]);
    copy_text(out_name, STS_LSU_NAME_SIZE, c_text(udid));
    return 0;
}

int32_t next_copan_lsu(const LsuListHandle &list, char *out_name) {
    if (list.copan_lsus == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (list.cursor == list.copan_lsus->size())
        return STS_E_NO_MORE_ENTRIES;
    const std::string *name = (*list.copan_lsus)[list.cursor]->getInfo();
    if (name == nullptr)
        return STS_E_NOT_FOUND;
    copy_text(out_name, STS_LSU_NAME_SIZE, name->c_str());
    return 0;
}

int32_t next_name(const LsuListHandle &list, char *out_name) {
    switch (list.kind) {
        case pool_list:
            return next_pool(list, out_name);
        case dynamic_list:
            return next_volume(list, out_name);
        case copan_list:
            return next_copan_lsu(list, out_name);
        default:
            return STS_E_INVALID_PARAMETER;
    }
}

// The pools of the handle's hosts, as an array of the handle. Closing a list releases nothing but the list, so the arrays
// of lists closed since the last opening go now.
const DiskGroupTable *open_pool_array(ServerHandle &handle) {
    handle.parked_pools.clear();
    handle.open_pools.emplace_back(handle.disk_array->getPoolLSUList(handle.host_list, handle.host_flag != 0));
    return handle.open_pools.back().get();
}

void park_pool_array(ServerHandle &handle, const DiskGroupTable *pools) {
    for (auto array = handle.open_pools.begin(); array != handle.open_pools.end(); ++array)
        if (array->get() == pools) {
            handle.parked_pools.push_back(std::move(*array));
            handle.open_pools.erase(array);
            return;
        }
}

}  // namespace

int32_t stspi_open_lsu_list(sts_server_handle_t handle, const void *, sts_lsu_list_handle_t *out_list) {
    if (handle == nullptr || out_list == nullptr)
        return STS_E_INVALID_PARAMETER;
    const TraceObject trace(handle->session, "stspi_open_lsu_list");
    LsuListHandle &list = *(*out_list = new LsuListHandle);
    list.server = handle;
    if (handle->disk_array != nullptr) {
        if (handle->handle_kind != multi_host) {
            log_error(handle->session, "For ZEPH plugins list of hosts is expected for getPoolLSUList");
            return STS_E_INVALID_PARAMETER;
        }
        list.pool_list = open_pool_array(*handle);
        list.kind = pool_list;
    } else if (handle->sts_object != nullptr) {
        list.copan_lsus = handle->sts_object->getLSUList();
        list.kind = copan_list;
    } else {
        return STS_E_INTERNAL;
    }
    return 0;
}

int32_t stspi_open_dynamic_lsu_list(const stsp_lsu_v7_t *lsu, sts_lsu_list_handle_t *out_list) {
    if (lsu == nullptr || lsu->server == nullptr || out_list == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (lsu->server->disk_array == nullptr) {
        log_error(lsu->server->session, "open_dynamic_lsu_list is not supported for non-ZEPH storages");
        return STS_E_INVALID_PARAMETER;
    }
    LsuListHandle &list = *(*out_list = new LsuListHandle);
    const diskgroup_t *group = lsu->server->disk_array->getPoolLSUInfo(FieldText(lsu->lsu_name).c_str());
    if (group == nullptr)
        return STS_E_NO_SERVER;
    list.server = lsu->server;
    list.dynamic_names = group->volumes;
    list.kind = dynamic_list;
    return 0;
}

int32_t stspi_list_lsu(sts_lsu_list_handle_t list, char *out_name) {
    if (list == nullptr || out_name == nullptr)
        return STS_E_INVALID_PARAMETER;
    const TraceObject trace(list->server != nullptr ? list->server->session : nullptr, "stspi_list_lsu");
    const int32_t status = next_name(*list, out_name);
    if (status == 0)
        ++list->cursor;
    return status;
}

int32_t stspi_close_lsu_list(sts_lsu_list_handle_t list) {
    if (list == nullptr)
        return STS_E_INVALID_PARAMETER;
    const TraceObject trace(list->server != nullptr ? list->server->session : nullptr, "stspi_close_lsu_list");
    if (list->server != nullptr && list->pool_list != nullptr)
        park_pool_array(*list->server, list->pool_list);
    delete list;
    return 0;
}
