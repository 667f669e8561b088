#include "lsu/mount_path_properties.h"

#include <sys/statvfs.h>

#include <cstring>

#include "base/text_field.h"
#include "plugin/message_log.h"
#include "plugin/server_handle.h"
#include "stspi/sts_status.h"

namespace {

constexpr size_t longest_path = 1024;
constexpr uint64_t default_block_size = 512;

}  // namespace

int validate_path(const char *path) {
    if (path == nullptr)
        return -1;
    const size_t length = std::strlen(path);
    return length >= 1 && length <= longest_path ? 0 : -2;
}

int32_t get_mount_path_prop(const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info) {
    const sts_session_def_v7_t *session = lsu->server->session;
    const FieldText path(lsu->lsu_name);
    copy_text(info->server_name, lsu->server->host_name);
    info->block_size_bytes = default_block_size;
    if (const int invalid = validate_path(path.c_str())) {
        log_error(session, "STS: Invalid path name");
        return invalid;
    }
    struct statvfs file_system;
    if (statvfs(path.c_str(), &file_system) != 0) {
        log_error(session, "Error calling statvfs, LSU name is: ");
        log_error(session, path.c_str());
        return STS_E_SYSTEM;
    }
    info->lsu_class = STS_LSU_CLASS_PATH;
    info->flags |= STS_LSU_FLAG_PATH;
    info->block_size_bytes = file_system.f_frsize;
    info->capacity_bytes = file_system.f_frsize * file_system.f_blocks;
    info->used_bytes = (file_system.f_blocks - file_system.f_bavail) * file_system.f_frsize;
    return 0;
}
