#include <algorithm>
#include <memory>
#include <utility>

#include "base/invariant.h"
#include "base/text_field.h"
#include "plugin/claim.h"
#include "plugin/message_log.h"
#include "plugin/server_factory.h"
#include "plugin/server_handle.h"
#include "plugin/server_name.h"
#include "plugin/trace_object.h"
#include "sim/array_size.h"
#include "sim/sts_exception.h"
#include "stspi/stspi.h"

namespace {

std::unique_ptr<NameList> copy_host_names(const sts_host_t *hosts, int32_t host_count) {
    const auto count = static_cast<size_t>(std::max(0, host_count));
    auto names = std::make_unique<NameList>();
    resize(*names, count);
    for (size_t i = 0; i < count; ++i)
        (*names)[i] = FieldText(hosts[i].name).c_str();
    return names;
}

}  // namespace

int32_t stspi_create_server(const sts_session_def_v7_t *session, const char *server_name, const void *, const void *,
                            const sts_host_t *hosts, int32_t host_count, sts_server_handle_t *out_handle) {
    const TraceObject trace(session, "stspi_create_server");
    if (out_handle == nullptr || (hosts == nullptr && host_count > 0))
        return STS_E_INVALID_PARAMETER;
    ServerHandle &handle = *(*out_handle = new_server_handle(session));
    log_trace(session, host_count != 0 ? "Multi Host handle" : "Single Host handle");
    handle.handle_kind = host_count != 0 ? multi_host : single_host;
    if (!isPluginSimulated(server_name))
        return STS_E_INTERNAL;
    if (*host_part(server_name) == '\0') {
        handle.handle_kind = null_host;
        return 0;
    }
    if (!is_disk_array_name(server_name)) {
        log_error(session, "create_server should not be called by non-ZEPH storages");
        return STS_E_INTERNAL;
    }
    // The host name stays empty and the class's session as it was: both are stspi_open_server's to set.
    std::unique_ptr<NameList> host_list = copy_host_names(hosts, host_count);
    try {
        handle.disk_array = std::make_unique<OrvSimStorageServer>(server_name);
    } catch (const BrokenInvariant &broken) {
        log_error(session, broken.what());
        return STS_E_INTERNAL;
    }
    handle.host_list = std::move(host_list);
    return 0;
}

int32_t stspi_open_target_server(sts_server_handle_t source, const char *target_name, const void *, const void *,
                                 sts_server_handle_t *out_handle) {
    if (source == nullptr)
        return STS_E_INVALID_PARAMETER;
    const sts_session_def_v7_t *session = source->session;
    const TraceObject trace(session, "stspi_open_target_server");
    if (target_name == nullptr || out_handle == nullptr)
        return STS_E_INVALID_PARAMETER;
    ServerHandle *handle = *out_handle = new_server_handle(session);
    if (!isPluginSimulated(target_name))
        return STS_E_INTERNAL;

    // A refused target is freed although its address stays stored: the status tells the framework not to use it.
    const char *host = host_part(target_name);
    if (*host == '\0') {
        log_error(session, "NULL server handle not supported for target server");
        delete handle;
        return STS_E_INTERNAL;
    }
    copy_text(handle->host_name, host);
    if (is_disk_array_name(target_name)) {
        log_error(session, "target server not yet implemented for Kelvarpool ");
        delete handle;
        return STS_E_INTERNAL;
    }
    try {
        handle->sts_object.reset(generateSTSObject(target_name));
    } catch (const STSException &exception) {
        log_error(session, target_name);
        log_error(session, exception.toString());
        return STS_E_INTERNAL;
    }
    return 0;
}
