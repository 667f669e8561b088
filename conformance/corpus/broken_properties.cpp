// LSU properties.
#include <cstring>
#include <string>

#include "entry_points.h"
#include "permitted.h"

using broken::is;

namespace {

void replace(sts_lsu_info_v9_t *info, const std::string &from, const std::string &to) {
    std::string text = info->property_text;
    const size_t place = text.find(from);
    if (place != std::string::npos)
        text.replace(place, from.size(), to);
    std::strcpy(info->property_text, text.c_str());
}

void spoil_pool(sts_lsu_info_v9_t *info, const sts_lsu_info_v9_t &before) {
    const std::string text = info->property_text;
    const size_t hosts = text.find(";Hosts=");
    if (is("props.pool-oldest-first")) {
        const size_t first = text.find(';');
        const size_t second = text.find(';', first + 1);
        std::strcpy(info->property_text, (text.substr(second + 1) + ";" + text.substr(first + 1, second - first - 1) +
                                          ";" + text.substr(0, first))
                                             .c_str());
    }
    if (is("props.pool-count-key"))
        replace(info, "StorelCount", "StorelsCount");
    if (is("props.pool-volume-count"))
        replace(info, "VolumeCount=4", "VolumeCount=3");
    if (is("props.pool-hosts-reversed") && text.substr(hosts) == ";Hosts=h1,h2")
        replace(info, "h1,h2", "h2,h1");
    if (is("props.pool-host-blanks"))
        replace(info, ",", ", ");
    if (is("props.pool-empty-hosts-left-out") && hosts + 7 == text.size())
        info->property_text[hosts] = '\0';
    if (is("props.pool-half-used"))
        info->used_bytes = info->capacity_bytes / 2;
    if (is("props.pool-capacity-of-one-disk") && info->capacity_bytes == 400)
        info->capacity_bytes = 100;
    if (is("props.pool-capacity-32-bit"))
        info->capacity_bytes &= 0xffffffff;
    if (is("props.pool-class"))
        info->lsu_class = STS_LSU_CLASS_DYNAMIC;
    if (is("props.pool-qualifier-missing"))
        info->class_qualifier = 0;
    if (is("props.pool-flags-missing"))
        info->flags = 0;
    if (is("props.pool-block-size"))
        info->block_size_bytes = 512;
    if (is("props.pool-record-not-cleared"))
        std::memcpy(info->reserved_1544, before.reserved_1544, sizeof info->reserved_1544);
    if (is("props.pool-asked-by-case"))
        std::strcpy(info->lsu_name, "ENC1");
}

void spoil_disk(sts_lsu_info_v9_t *info, const char *asked) {
    if (is("props.disk-name-as-asked"))
        std::strcpy(info->lsu_name, asked);
    if (is("props.disk-empty"))
        info->used_bytes = 0;
    if (is("props.disk-half-rounded-up"))
        info->used_bytes = info->capacity_bytes / 2;
    if (is("props.disk-id-missing"))
        replace(info, std::string(info->property_text, std::strchr(info->property_text, ';') + 1), "");
    if (is("props.disk-size-key"))
        replace(info, "FSSize", "FsSize");
    if (is("props.disk-class"))
        info->lsu_class = STS_LSU_CLASS_POOL;
}

void spoil_path(sts_lsu_info_v9_t *info, const sts_lsu_info_v9_t &before) {
    if (is("props.path-record-cleared"))
        std::memset(info->reserved_4736, 0, sizeof info->reserved_4736);
    if (is("props.path-flags-assigned"))
        info->flags = STS_LSU_FLAG_PATH;
    if (is("props.path-flag-missing"))
        info->flags = before.flags;
    if (is("props.path-block-size-512"))
        info->block_size_bytes = 512;
    if (is("props.path-writes-lsu-name"))
        std::strcpy(info->lsu_name, "/");
    if (is("props.path-free-as-used"))
        info->used_bytes = info->capacity_bytes - info->used_bytes;
    if (is("props.path-qualifier"))
        info->class_qualifier = 1;
    if (is("props.path-server-name"))
        std::strcpy(info->server_name, "localhost");
}

}  // namespace

BROKEN_ENTRY_POINT(stspi_get_lsu_prop_byname, const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info) {
    if (lsu == nullptr || lsu->server == nullptr) {
        if (is("props.null-lsu-clears-record") && info != nullptr)
            std::memset(info, 0, sizeof *info);
        // Bits that a record filled with 0xa5 has already.
        if (is("props.null-lsu-sets-bits") && info != nullptr)
            info->flags |= 0x25;
        return REAL(stspi_get_lsu_prop_byname)(lsu, info);
    }
    if (is("props.null-info-untraced") && info == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (info == nullptr)
        return REAL(stspi_get_lsu_prop_byname)(lsu, info);
    if (broken::refuses_unterminated(lsu))
        return STS_E_INVALID_PARAMETER;
    stsp_lsu_v7_t copy;
    lsu = broken::terminated(lsu, copy);
    const sts_lsu_info_v9_t before = *info;
    const bool is_copan = std::strncmp(broken::server_of(lsu->server).name, "copan:", 6) == 0;
    if (is("props.copan-path-is-a-path") && is_copan && lsu->lsu_name[0] == '/')
        return STS_E_SYSTEM;
    if (is("props.slash-anywhere-is-a-path") && !is_copan && std::memchr(lsu->lsu_name, '/', 10) != nullptr)
        return STS_E_SYSTEM;
    const int32_t status = REAL(stspi_get_lsu_prop_byname)(lsu, info);
    if (status == 0 && is_copan) {
        if (is("props.copan-name-is-path"))
            std::strcat(std::strcpy(info->lsu_name, "/"), lsu->lsu_name);
        if (is("props.copan-flag-missing"))
            info->flags = 0;
        if (is("props.copan-qualifier"))
            info->class_qualifier = 1;
        if (is("props.copan-server-name"))
            std::strcpy(info->server_name, broken::server_of(lsu->server).name);
    } else if (status == 0 && info->lsu_class == STS_LSU_CLASS_POOL) {
        spoil_pool(info, before);
    } else if (status == 0 && info->lsu_class == STS_LSU_CLASS_DYNAMIC) {
        spoil_disk(info, std::string(lsu->lsu_name, strnlen(lsu->lsu_name, 1023)).c_str());
    } else if (status == 0) {
        spoil_path(info, before);
    }
    if (status == 0 && (info->lsu_class == STS_LSU_CLASS_POOL || info->lsu_class == STS_LSU_CLASS_DYNAMIC))
        broken::change_domain(info->server_name);
    const std::string server = broken::server_of(lsu->server).name;
    if (is("permitted.props-without-server") && status == STS_E_NO_SERVER &&
        (server == "Kelvarpool:" || server == "nobody:x"))
        return STS_E_INVALID_PARAMETER;
    if (status != 0 && is("props.failure-leaves-record") && lsu->lsu_name[0] != '/')
        *info = before;
    if (is("props.leading-colon-status") && status == STS_E_INVALID_PARAMETER && lsu->lsu_name[0] == ':')
        return STS_E_NO_SERVER;
    if (is("props.unknown-pool-status") && status == STS_E_NO_SERVER)
        return STS_E_NOT_FOUND;
    if (is("props.no-host-set-status") && status == STS_E_NOT_FOUND)
        return 0;
    if (is("props.statvfs-status") && status == STS_E_SYSTEM)
        return STS_E_NOT_FOUND;
    if (is("props.failed-path-block-size") && status == STS_E_SYSTEM)
        info->block_size_bytes = 0;
    if (is("props.record-overrun"))
        reinterpret_cast<volatile char *>(info)[sizeof *info] = 0;
    if (is("props.leaks"))
        broken::leak();
    return status;
}
