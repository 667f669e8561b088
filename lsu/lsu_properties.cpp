#include "lsu/lsu_properties.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "base/text_field.h"
#include "lsu/dynamic_lsu_name.h"
#include "lsu/mount_path_properties.h"
#include "plugin/message_log.h"
#include "plugin/property_list.h"
#include "plugin/server_handle.h"
#include "plugin/trace_object.h"
#include "sim/name_lists.h"
#include "stspi/stspi.h"

namespace {

// Sizes are signed here, though records hold them unsigned: a size beyond 2^63 is written as a negative number.
Name decimal(uint64_t number) { return Name(std::to_string(static_cast<int64_t>(number)).c_str()); }

void set_class(sts_lsu_info_v9_t &info, uint32_t lsu_class) {
    info.lsu_class = lsu_class;
    info.class_qualifier = 1;
    info.flags = STS_LSU_FLAG_STANDARD;
}

int32_t copan_properties(const stsp_lsu_v7_t &lsu, const char *name, sts_lsu_info_v9_t &info) {
    const sts_session_def_v7_t *session = lsu.server->session;
    StorageServer &server = *lsu.server->sts_object;
    if (*name == '\0')
        return STS_E_INVALID_PARAMETER;
    std::string wanted = name;  // before a directory is made, so that memory that runs out changes nothing
    const std::unique_ptr<char[]> path(server.generate_path(name));
    if (path == nullptr)
        return STS_E_INVALID_PARAMETER;
    log_trace(session, "The generated mount path is: ");
    log_trace(session, path.get());
    stsp_lsu_v7_t at_path = lsu;
    copy_text(at_path.lsu_name, path.get());
    log_trace(session, "Copied version: ");
    log_trace(session, at_path.lsu_name);
    if (const int32_t status = get_mount_path_prop(&at_path, &info))
        return status;
    LSU *model = server.getLSU(std::move(wanted));
    if (model == nullptr) {
        log_error(session, name);
        return STS_E_NO_SERVER;
    }
    const std::string *lsu_name = model->getInfo();
    const std::string *server_name = server.getInfo();
    if (lsu_name == nullptr || server_name == nullptr)
        return STS_E_NOT_FOUND;
    return populate_lsuinfo(&info, lsu_name, server_name->c_str());
}

int32_t pool_properties(OrvSimStorageServer &array, const char *name, sts_lsu_info_v9_t &info) {
    const diskgroup_t *group = array.getPoolLSUInfo(name);
    if (group == nullptr)
        return STS_E_NO_SERVER;
    if (group->hosts == nullptr)
        return STS_E_NOT_FOUND;
    STSPropertyList properties;
    properties.add(Name::literal("Hosts"), joined_names(group->hosts).c_str());
    properties.add(Name::literal("StorelCount"), decimal(name_count(group->disks)));
    properties.add(Name::literal("VolumeCount"), decimal(name_count(group->volumes)));
    copy_text(info.lsu_name, name);
    copy_text(info.property_text, c_text(properties.to_string()));
    set_class(info, STS_LSU_CLASS_POOL);
    info.capacity_bytes = name_count(group->disks) * group->disk_size;
    copy_text(info.server_name, array.get_server_name());
    return 0;
}

int32_t dynamic_properties(OrvSimStorageServer &array, const char *name, const sts_session_def_v7_t *session,
                           sts_lsu_info_v9_t &info) {
    Name left;
    Name right;
    if (parseDynamicLSUName(name, left, right) != 0)
        return STS_E_INVALID_PARAMETER;
    const std::unique_ptr<DynamicLSUInfo> disk(array.getDynamicLSUInfo(c_text(right), c_text(left)));
    if (disk == nullptr) {
        char message[1024];
        std::snprintf(message, sizeof message, "%s:%s not found", c_text(left), c_text(right));
        log_error(session, message);
        return STS_E_NO_SERVER;
    }
    info.capacity_bytes = disk->capacity;
    copy_text(info.server_name, array.get_server_name());
    copy_text(info.lsu_name, c_text(disk->name));
    set_class(info, STS_LSU_CLASS_DYNAMIC);
    info.used_bytes = disk->capacity - disk->free_space;
    STSPropertyList properties;
    properties.add(Name::literal("FSSize"), decimal(disk->fs_size));
    properties.add(Name::literal("FreeSpace"), decimal(disk->free_space));
    properties.add(Name::literal("ID"), std::move(disk->id));
    copy_text(info.property_text, c_text(properties.to_string()));
    return 0;
}

}  // namespace

int32_t populate_lsuinfo(sts_lsu_info_v9_t *info, const std::string *lsu_info, const char *server_name) {
    copy_text(info->lsu_name, lsu_info->c_str());
    copy_text(info->server_name, server_name);
    return 0;
}

int32_t stspi_get_lsu_prop_byname(const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info) {
    if (lsu == nullptr || lsu->server == nullptr)
        return STS_E_INVALID_PARAMETER;
    const ServerHandle &handle = *lsu->server;
    const TraceObject trace(handle.session, "stspi_get_lsu_prop_byname");
    if (info == nullptr) {
        log_error(handle.session, "STS: No memory allocated for lsuInfo");
        return STS_E_INVALID_PARAMETER;
    }
    // A directory's record is not cleared: what the caller set beforehand survives.
    if (handle.disk_array != nullptr && lsu->lsu_name[0] == '/')
        return get_mount_path_prop(lsu, info);
    std::memset(info, 0, sizeof *info);
    const FieldText name(lsu->lsu_name);
    if (handle.sts_object != nullptr)
        return copan_properties(*lsu, name.c_str(), *info);
    if (handle.disk_array == nullptr)
        return STS_E_NO_SERVER;
    if (isDynamicLSUName(name.c_str()))
        return dynamic_properties(*handle.disk_array, name.c_str(), handle.session, *info);
    return pool_properties(*handle.disk_array, name.c_str(), *info);
}
