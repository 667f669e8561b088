#include "base/invariant.h"
#include "base/text_field.h"
#include "copan/copan_sim_storage_server.h"
#include "plugin/claim.h"
#include "plugin/message_log.h"
#include "plugin/server_factory.h"
#include "plugin/server_handle.h"
#include "plugin/server_name.h"
#include "plugin/trace_object.h"
#include "sim/sts_exception.h"
#include "stspi/stspi.h"

namespace {

int32_t open_copan_array(ServerHandle &handle, const char *server_name) {
    log_trace(handle.session, "STS-DYNAMIC ");
    try {
        handle.sts_object.reset(generateSTSObject(server_name));
    } catch (const STSException &exception) {
        log_error(handle.session, server_name);
        log_error(handle.session, exception.toString());
        return STS_E_INTERNAL;
    }
    CopanSimStorageServer::set_session(handle.session);
    return 0;
}

}  // namespace

int32_t stspi_open_server(const sts_session_def_v7_t *session, const char *server_name, const void *, const void *,
                          sts_server_handle_t *out_handle) {
    const TraceObject trace(session, "stspi_open_server");
    if (out_handle == nullptr)
        return STS_E_INVALID_PARAMETER;
    ServerHandle &handle = *(*out_handle = new_server_handle(session));
    log_trace(session, server_name);
    if (!isPluginSimulated(server_name))
        return STS_E_INTERNAL;

    const char *host = host_part(server_name);
    if (*host == '\0') {
        log_error(session, "NULL HOST");
        handle.handle_kind = null_host;
        return 0;
    }
    copy_text(handle.host_name, host);
    if (!is_disk_array_name(server_name))
        return open_copan_array(handle, server_name);
    log_trace(session, "KELVARPOOL ");
    try {
        handle.disk_array = std::make_unique<OrvSimStorageServer>(server_name);
    } catch (const BrokenInvariant &broken) {
        log_error(session, broken.what());
        return STS_E_INTERNAL;
    }
    OrvSimStorageServer::set_session(session);
    return 0;
}

int32_t stspi_close_server(sts_server_handle_t handle) {
    if (handle == nullptr)
        return STS_E_INVALID_PARAMETER;
    { const TraceObject trace(handle->session, "stspi_close_server"); }
    delete handle;
    return 0;
}
