// A plug-in as its author shows it to the suite for the first time: it registers, claims names, takes control commands and hands
// calls of open images on; servers and LSUs are not there yet. FIRST_DRAFT makes the five mistakes of its first draft, each
// easily made.
#include <cstdio>
#include <cstring>
#include <string>

#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace {

#ifdef FIRST_DRAFT
constexpr bool is_first_draft = true;
#else
constexpr bool is_first_draft = false;
#endif

constexpr uint64_t oldest_version = 7;
constexpr uint64_t version = 9;

template <typename Function>
sts_entry_point_t slot(Function *function) {
    return reinterpret_cast<sts_entry_point_t>(function);
}

}  // namespace

extern "C" {

int32_t stspi_init(uint64_t api_version, const void *, sts_registration_t *registration) {
    if (api_version < oldest_version)
        return STS_E_VERSION;
    if (registration == nullptr)
        return STS_E_INVALID_PARAMETER;
    registration->api_version = version;
    registration->entry_points = STSSanDiskEntryPoints;
    std::strcpy(registration->prefix, "Kelvarpool:");
    std::strcpy(registration->label, "Simulation Plugin");
    registration->flag_1 = registration->flag_2 = 1;
    registration->version_word_1 = registration->version_word_2 = registration->version_word_3 = version;
    registration->byte_flag = 0;
    return stsimg_init(version);
}

int32_t stspi_init2(uint64_t api_version, sts_registration2_t *registration) {
    // The second table is younger than the first.
    if (api_version < (is_first_draft ? oldest_version : version))
        return STS_E_VERSION;
    if (registration == nullptr)
        return STS_E_INVALID_PARAMETER;
    registration->api_version = version;
    registration->entry_points = STSSANDiskEntryPoints2;
    return 0;
}

int32_t stspi_terminate(void) {
    stsimg_terminate();
    return is_first_draft ? 0 : STS_E_NOT_SUPPORTED;
}

int32_t stspi_claim(const char *server_name) {
    const std::string name = server_name == nullptr ? "" : server_name;
    if (name.empty())
        return STS_E_NOT_CLAIMED;
    const std::string path = "/etc/quillmere/" + name.substr(0, name.find(':')) + ".sim";
    std::FILE *file = std::fopen(path.c_str(), "r");
    if (file == nullptr)
        return STS_E_NOT_CLAIMED;
    if (!is_first_draft)
        std::fclose(file);
    return 0;
}

int32_t stspi_ioctl(const void *, int32_t command, ...) {
    const bool is_known = command >= 1 && command <= 12 && (is_first_draft || command != 8);
    return is_known ? 0 : STS_E_NOT_SUPPORTED;
}

int32_t stspi_unmount_lsu(void) { return 0; }

int32_t stspi_read_image(sts_image_handle_t image, void *buffer, uint64_t length, uint64_t offset,
                         uint64_t *out_bytes_read) {
    return stsimg_read_image(image, buffer, length, offset, out_bytes_read);
}
int32_t stspi_write_image(sts_image_handle_t image, const void *reserved, const void *buffer, uint64_t length,
                          uint64_t offset, uint64_t *out_bytes_written) {
    return stsimg_write_image(image, reserved, buffer, length, offset, out_bytes_written);
}
int32_t stspi_get_image_prop(sts_image_handle_t image, sts_image_info_t *out_info) {
    return stsimg_get_image_prop(image, out_info);
}
int32_t stspi_close_image(sts_image_handle_t image) { return stsimg_close_image(image); }
int32_t stspi_list_image(sts_image_list_handle_t list, sts_image_definition_t *out_definition) {
    return stsimg_list_image(list, out_definition);
}
int32_t stspi_close_image_list(sts_image_list_handle_t list) { return stsimg_close_image_list(list); }

int32_t load_process(const char *, const char *) { return 0; }

// What is not supported, and what is not there yet.

#define REFUSED(name) \
    int32_t name { return STS_E_NOT_SUPPORTED; }

REFUSED(stspi_async_flush(void))
REFUSED(stspi_async_read_image(void))
REFUSED(stspi_async_wait(void))
REFUSED(stspi_async_write_image(void))
REFUSED(stspi_close_evchannel(void))
REFUSED(stspi_delete_event(void))
REFUSED(stspi_delete_files(void))
REFUSED(stspi_get_image_group(void))
REFUSED(stspi_get_image_group_byname(void))
REFUSED(stspi_open_evchannel(void))
REFUSED(stspi_open_image_group_list(void))
REFUSED(stspi_activate_lsu(void))
REFUSED(stspi_add_pool_lsu(void))
REFUSED(stspi_alloc_lsu(void))
REFUSED(stspi_close_lsu(void))
REFUSED(stspi_create_lsu(void))
REFUSED(stspi_create_lsu_with_storel(void))
REFUSED(stspi_create_lsu_with_pool(void))
REFUSED(stspi_dealloc_lsu(void))
REFUSED(stspi_delete_lsu(void))
REFUSED(stspi_extract_files(void))
REFUSED(stspi_get_host(void))
REFUSED(stspi_get_lsu_prop(void))
REFUSED(stspi_get_pool_lsu(void))
REFUSED(stspi_get_storel(void))
REFUSED(stspi_get_storel_prop(void))
REFUSED(stspi_open_lsu(void))
REFUSED(stspi_remove_pool_lsu(void))
REFUSED(stspi_shutdown_server(void))

REFUSED(stspi_open_server(const sts_session_def_v7_t *, const char *, const void *, const void *,
                          sts_server_handle_t *))
REFUSED(stspi_create_server(const sts_session_def_v7_t *, const char *, const void *, const void *, const sts_host_t *,
                            int32_t, sts_server_handle_t *))
REFUSED(stspi_open_target_server(sts_server_handle_t, const char *, const void *, const void *, sts_server_handle_t *))
REFUSED(stspi_close_server(sts_server_handle_t))
REFUSED(stspi_get_server_prop(sts_server_handle_t, sts_server_info_t *))
REFUSED(stspi_get_server_prop_byname(const sts_session_def_v7_t *, const char *, sts_server_info_t *))
REFUSED(stspi_open_lsu_list(sts_server_handle_t, const void *, sts_lsu_list_handle_t *))
REFUSED(stspi_open_dynamic_lsu_list(const stsp_lsu_v7_t *, sts_lsu_list_handle_t *))
REFUSED(stspi_list_lsu(sts_lsu_list_handle_t, char *))
REFUSED(stspi_close_lsu_list(sts_lsu_list_handle_t))
REFUSED(stspi_get_lsu_prop_byname(const stsp_lsu_v7_t *, sts_lsu_info_v9_t *))
REFUSED(stspi_mount_lsu(const stsp_lsu_v7_t *, const char *, uint32_t, uint64_t, char *))
REFUSED(stspi_create_image(const stsp_lsu_v7_t *, const sts_image_definition_t *, uint32_t, sts_image_handle_t *))
REFUSED(stspi_open_image(const stsp_lsu_v7_t *, const sts_image_definition_t *, uint32_t, sts_image_handle_t *))
REFUSED(stspi_delete_image(const stsp_lsu_v7_t *, const sts_image_definition_t *, uint32_t))
REFUSED(stspi_open_image_list(const stsp_lsu_v7_t *, uint32_t, sts_image_list_handle_t *))
REFUSED(stspi_get_image_prop_byname(const stsp_lsu_v7_t *, const sts_image_definition_t *, sts_image_info_t *))
REFUSED(stspi_copy_extent(sts_image_handle_t, uint64_t, sts_image_handle_t, uint64_t, uint64_t, const void *,
                          uint64_t *))
REFUSED(stspi_include_in_image(sts_image_handle_t, uint64_t, sts_image_handle_t, uint64_t, uint64_t))

// In the framework's order.
sts_entry_point_t STSSanDiskEntryPoints[STS_ENTRY_POINT_COUNT] = {slot(stspi_async_flush),
                                                                  slot(stspi_async_read_image),
                                                                  slot(stspi_async_wait),
                                                                  slot(stspi_async_write_image),
                                                                  slot(stspi_claim),
                                                                  slot(stspi_close_evchannel),
                                                                  slot(stspi_close_image),
                                                                  slot(stspi_close_image_list),
                                                                  slot(stspi_close_lsu_list),
                                                                  slot(stspi_close_server),
                                                                  slot(stspi_copy_extent),
                                                                  slot(stspi_create_image),
                                                                  slot(stspi_delete_event),
                                                                  slot(stspi_delete_files),
                                                                  slot(stspi_delete_image),
                                                                  nullptr,
                                                                  slot(stspi_get_image_group),
                                                                  slot(stspi_get_image_group_byname),
                                                                  slot(stspi_get_image_prop),
                                                                  slot(stspi_get_image_prop_byname),
                                                                  slot(stspi_get_lsu_prop_byname),
                                                                  slot(stspi_get_server_prop),
                                                                  slot(stspi_get_server_prop_byname),
                                                                  slot(stspi_include_in_image),
                                                                  slot(stspi_ioctl),
                                                                  slot(stspi_list_image),
                                                                  slot(stspi_list_lsu),
                                                                  slot(stspi_open_evchannel),
                                                                  slot(stspi_open_lsu_list),
                                                                  slot(stspi_open_server),
                                                                  slot(stspi_open_target_server),
                                                                  slot(stspi_open_image),
                                                                  slot(stspi_open_image_group_list),
                                                                  slot(stspi_open_image_list),
                                                                  slot(stspi_read_image),
                                                                  slot(stspi_terminate),
                                                                  slot(stspi_write_image),
                                                                  nullptr,
                                                                  nullptr,
                                                                  nullptr,
                                                                  nullptr};
sts_entry_point_t STSSANDiskEntryPoints2[STS_ENTRY_POINT_COUNT2] = {
    slot(stspi_activate_lsu),
    slot(stspi_add_pool_lsu),
    slot(stspi_alloc_lsu),
    slot(stspi_close_lsu),
    slot(stspi_create_lsu),
    slot(stspi_create_lsu_with_storel),
    slot(stspi_create_lsu_with_pool),
    slot(stspi_create_server),
    slot(stspi_dealloc_lsu),
    slot(stspi_delete_lsu),
    slot(stspi_extract_files),
    slot(stspi_get_host),
    slot(stspi_get_lsu_prop),
    slot(stspi_get_pool_lsu),
    slot(stspi_get_storel),
    slot(stspi_get_storel_prop),
    is_first_draft ? slot(stspi_open_dynamic_lsu_list) : slot(stspi_mount_lsu),
    is_first_draft ? slot(stspi_mount_lsu) : slot(stspi_open_dynamic_lsu_list),
    slot(stspi_open_lsu),
    slot(stspi_remove_pool_lsu),
    slot(stspi_shutdown_server),
    slot(stspi_unmount_lsu)};

}  // extern "C"
