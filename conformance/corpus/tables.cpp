// The wrapper's own tables: a framework that calls through them must not get around the wrapper.
#include <algorithm>

#include "entry_points.h"

using broken::is;

#define SLOT(name) reinterpret_cast<sts_entry_point_t>(name)

sts_entry_point_t STSSanDiskEntryPoints[STS_ENTRY_POINT_COUNT] = {SLOT(stspi_async_flush),
                                                                  SLOT(stspi_async_read_image),
                                                                  SLOT(stspi_async_wait),
                                                                  SLOT(stspi_async_write_image),
                                                                  SLOT(stspi_claim),
                                                                  SLOT(stspi_close_evchannel),
                                                                  SLOT(stspi_close_image),
                                                                  SLOT(stspi_close_image_list),
                                                                  SLOT(stspi_close_lsu_list),
                                                                  SLOT(stspi_close_server),
                                                                  SLOT(stspi_copy_extent),
                                                                  SLOT(stspi_create_image),
                                                                  SLOT(stspi_delete_event),
                                                                  SLOT(stspi_delete_files),
                                                                  SLOT(stspi_delete_image),
                                                                  nullptr,
                                                                  SLOT(stspi_get_image_group),
                                                                  SLOT(stspi_get_image_group_byname),
                                                                  SLOT(stspi_get_image_prop),
                                                                  SLOT(stspi_get_image_prop_byname),
                                                                  SLOT(stspi_get_lsu_prop_byname),
                                                                  SLOT(stspi_get_server_prop),
                                                                  SLOT(stspi_get_server_prop_byname),
                                                                  SLOT(stspi_include_in_image),
                                                                  SLOT(stspi_ioctl),
                                                                  SLOT(stspi_list_image),
                                                                  SLOT(stspi_list_lsu),
                                                                  SLOT(stspi_open_evchannel),
                                                                  SLOT(stspi_open_lsu_list),
                                                                  SLOT(stspi_open_server),
                                                                  SLOT(stspi_open_target_server),
                                                                  SLOT(stspi_open_image),
                                                                  SLOT(stspi_open_image_group_list),
                                                                  SLOT(stspi_open_image_list),
                                                                  SLOT(stspi_read_image),
                                                                  SLOT(stspi_terminate),
                                                                  SLOT(stspi_write_image),
                                                                  nullptr,
                                                                  nullptr,
                                                                  nullptr,
                                                                  nullptr};

sts_entry_point_t STSSANDiskEntryPoints2[STS_ENTRY_POINT_COUNT2] = {SLOT(stspi_activate_lsu),
                                                                    SLOT(stspi_add_pool_lsu),
                                                                    SLOT(stspi_alloc_lsu),
                                                                    SLOT(stspi_close_lsu),
                                                                    SLOT(stspi_create_lsu),
                                                                    SLOT(stspi_create_lsu_with_storel),
                                                                    SLOT(stspi_create_lsu_with_pool),
                                                                    SLOT(stspi_create_server),
                                                                    SLOT(stspi_dealloc_lsu),
                                                                    SLOT(stspi_delete_lsu),
                                                                    SLOT(stspi_extract_files),
                                                                    SLOT(stspi_get_host),
                                                                    SLOT(stspi_get_lsu_prop),
                                                                    SLOT(stspi_get_pool_lsu),
                                                                    SLOT(stspi_get_storel),
                                                                    SLOT(stspi_get_storel_prop),
                                                                    SLOT(stspi_mount_lsu),
                                                                    SLOT(stspi_open_dynamic_lsu_list),
                                                                    SLOT(stspi_open_lsu),
                                                                    SLOT(stspi_remove_pool_lsu),
                                                                    SLOT(stspi_shutdown_server),
                                                                    SLOT(stspi_unmount_lsu)};

namespace {

[[gnu::constructor]] void spoil() {
    if (is("table.slots-swapped"))
        std::swap(STSSanDiskEntryPoints[STS_SLOT_OPEN_IMAGE], STSSanDiskEntryPoints[STS_SLOT_OPEN_TARGET_SERVER]);
    if (is("table.null-slot-filled"))
        STSSanDiskEntryPoints[15] = SLOT(stspi_async_flush);
    if (is("table.last-slot-filled"))
        STSSanDiskEntryPoints[40] = SLOT(stspi_async_flush);
    if (is("table.slot-missing"))
        STSSanDiskEntryPoints[STS_SLOT_IOCTL] = nullptr;
    if (is("table.second-slots-swapped"))
        std::swap(STSSANDiskEntryPoints2[STS_SLOT2_CREATE_SERVER], STSSANDiskEntryPoints2[STS_SLOT2_DEALLOC_LSU]);
    if (is("table.slot-of-another-library"))
        STSSanDiskEntryPoints[STS_SLOT_CLAIM] = reinterpret_cast<sts_entry_point_t>(broken::real_symbol("stspi_claim"));
}

}  // namespace
