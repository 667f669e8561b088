#include <memory>
#include <utility>

#include "base/text_field.h"
#include "plugin/lsu_list_handle.h"
#include "plugin/message_log.h"
#include "plugin/server_handle.h"
#include "plugin/trace_object.h"
#include "stspi/stspi.h"

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

// A list that goes with its server when nobody closes it.
std::unique_ptr<LsuListHandle> new_list(ServerHandle &server) {
    auto list = std::make_unique<LsuListHandle>();
    list->place = server.open_lists.enter(list.get());
    return list;
}

}  // namespace

int32_t stspi_open_lsu_list(sts_server_handle_t handle, const void *, sts_lsu_list_handle_t *out_list) {
    if (handle == nullptr || out_list == nullptr)
        return STS_E_INVALID_PARAMETER;
    const TraceObject trace(handle->session, "stspi_open_lsu_list");
    LsuListHandle &list = *(*out_list = new_list(*handle).release());
    list.server = handle;
    if (handle->disk_array != nullptr) {
        if (handle->handle_kind != multi_host) {
            log_error(handle->session, "For ZEPH plugins list of hosts is expected for getPoolLSUList");
            return STS_E_INVALID_PARAMETER;
        }
        list.pool_list.reset(handle->disk_array->getPoolLSUList(handle->host_list.get(), handle->host_flag != 0));
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
    LsuListHandle &list = *(*out_list = new_list(*lsu->server).release());
    const diskgroup_t *group = lsu->server->disk_array->getPoolLSUInfo(FieldText(lsu->lsu_name).c_str());
    if (group == nullptr)
        return STS_E_NO_SERVER;  // the list stays stored, without its server
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
    if (list->place != nullptr)
        OpenLists::leave(list->place, std::move(list->pool_list));
    delete list;
    return 0;
}
