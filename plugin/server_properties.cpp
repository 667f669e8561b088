#include <memory>
#include <string>

#include "base/text_field.h"
#include "plugin/claim.h"
#include "plugin/message_log.h"
#include "plugin/server_factory.h"
#include "plugin/server_handle.h"
#include "plugin/server_name.h"
#include "plugin/trace_object.h"
#include "sim/sts_exception.h"
#include "stspi/stspi.h"

namespace {

struct CapabilityBits {
    size_t offset;  // of a 32-bit word in sts_server_info_t
    uint32_t bits;
};

constexpr CapabilityBits common_capabilities[] = {
    {1040, 0x10040100}, {1044, 0x00010040}, {1048, 0x01000010}, {1052, 0x00401004},
    {1056, 0x40000401}, {1060, 0x10040100}, {1064, 0x04010040}, {1068, 0x00004010},
    {1076, 0x40000000}, {1088, 0x01000000}, {1176, 0x00000400},
};

constexpr CapabilityBits disk_array_capabilities[] = {
    {1164, 0x04000000}, {1168, 0x00004010}, {1172, 0x00001004}, {1176, 0x80100000}, {1180, 0x00000100},
};

template <size_t Count>
void add(sts_server_info_t &info, const CapabilityBits (&set)[Count]) {
    for (const CapabilityBits &word : set)
        info.capabilities[(word.offset - offsetof(sts_server_info_t, capabilities)) / sizeof(uint32_t)] |= word.bits;
}

int32_t set_name(sts_server_info_t &info, const std::string *name) {
    if (name == nullptr)
        return STS_E_NOT_FOUND;
    copy_text(info.server_name, name->c_str());
    return 0;
}

}  // namespace

int32_t stspi_get_server_prop(sts_server_handle_t handle, sts_server_info_t *info) {
    if (handle == nullptr || info == nullptr)
        return STS_E_INVALID_PARAMETER;
    { const TraceObject trace(handle->session, "stspi_get_server_prop"); }
    add(*info, common_capabilities);
    if (handle->disk_array != nullptr) {
        add(*info, disk_array_capabilities);
        const std::unique_ptr<std::string> name(handle->disk_array->getInfo());
        return set_name(*info, name.get());
    }
    if (handle->sts_object == nullptr)
        return STS_E_INVALID_PARAMETER;
    info->server_type = STS_SERVER_TYPE_COPAN;
    return set_name(*info, handle->sts_object->getInfo());  // a Copan array's name is its own: not deleted here
}

int32_t stspi_get_server_prop_byname(const sts_session_def_v7_t *session, const char *server_name,
                                     sts_server_info_t *info) {
    if (session == nullptr || info == nullptr)
        return STS_E_INVALID_PARAMETER;
    const TraceObject trace(session, "stspi_get_server_prop_byname");
    if (!isPluginSimulated(server_name))
        return STS_E_INVALID_PARAMETER;
    add(*info, common_capabilities);
    if (is_disk_array_name(server_name)) {
        copy_text(info->server_name, host_part(server_name));
        add(*info, disk_array_capabilities);
        return 0;
    }
    info->server_type = STS_SERVER_TYPE_COPAN;
    try {
        const std::unique_ptr<StorageServer> server(generateSTSObject(server_name));
        return set_name(*info, server != nullptr ? server->getInfo() : nullptr);
    } catch (const STSException &exception) {
        log_error(session, exception.toString());
        return STS_E_INTERNAL;
    }
}
