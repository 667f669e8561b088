#include "base/text_field.h"
#include "lsu/dynamic_lsu_name.h"
#include "plugin/server_handle.h"
#include "plugin/trace_object.h"
#include "stspi/stspi.h"

int32_t stspi_mount_lsu(const stsp_lsu_v7_t *lsu, const char *mount_point, uint32_t mode, uint64_t, char *out_result) {
    if (mode == 0 || lsu == nullptr || lsu->server == nullptr || mount_point == nullptr || out_result == nullptr)
        return STS_E_INVALID_PARAMETER;
    const TraceObject trace(lsu->server->session, "stspi_mount_lsu");
    const FieldText name(lsu->lsu_name);
    Name left;
    Name right;
    if (parseDynamicLSUName(name.c_str(), left, right) != 0 || lsu->server->disk_array == nullptr)
        return STS_E_INVALID_PARAMETER;
    // Which way a mount failed is not the framework's to know here; it sees one code for all.
    if (lsu->server->disk_array->mountLSU(c_text(left), c_text(right), static_cast<int>(mode), "localhost",
                                          mount_point) != 0)
        return STS_E_SYSTEM;
    copy_text(out_result, STS_MOUNT_RESULT_SIZE, name.c_str());
    append_text(out_result, STS_MOUNT_RESULT_SIZE, ",");
    append_text(out_result, STS_MOUNT_RESULT_SIZE, mount_point);
    return 0;
}
