// Another plug-in with the same exports, as a framework may load it beside the one under test. Every function gives the
// same unmistakable status, and none does anything.
#include "stspi/sts_types.h"

#define FOREIGN(name)                                                 \
    extern "C" __attribute__((visibility("default"))) int32_t name(); \
    extern "C" int32_t name() { return 4711; }

// clang-format off
#define FIRST_TABLE(X, NONE) \
    X(stspi_async_flush) X(stspi_async_read_image) X(stspi_async_wait) X(stspi_async_write_image) X(stspi_claim) \
    X(stspi_close_evchannel) X(stspi_close_image) X(stspi_close_image_list) X(stspi_close_lsu_list) \
    X(stspi_close_server) X(stspi_copy_extent) X(stspi_create_image) X(stspi_delete_event) X(stspi_delete_files) \
    X(stspi_delete_image) NONE X(stspi_get_image_group) X(stspi_get_image_group_byname) X(stspi_get_image_prop) \
    X(stspi_get_image_prop_byname) X(stspi_get_lsu_prop_byname) X(stspi_get_server_prop) \
    X(stspi_get_server_prop_byname) X(stspi_include_in_image) X(stspi_ioctl) X(stspi_list_image) \
    X(stspi_list_lsu) X(stspi_open_evchannel) X(stspi_open_lsu_list) X(stspi_open_server) \
    X(stspi_open_target_server) X(stspi_open_image) X(stspi_open_image_group_list) X(stspi_open_image_list) \
    X(stspi_read_image) X(stspi_terminate) X(stspi_write_image) NONE NONE NONE NONE
#define SECOND_TABLE(X) \
    X(stspi_activate_lsu) X(stspi_add_pool_lsu) X(stspi_alloc_lsu) X(stspi_close_lsu) X(stspi_create_lsu) \
    X(stspi_create_lsu_with_storel) X(stspi_create_lsu_with_pool) X(stspi_create_server) X(stspi_dealloc_lsu) \
    X(stspi_delete_lsu) X(stspi_extract_files) X(stspi_get_host) X(stspi_get_lsu_prop) X(stspi_get_pool_lsu) \
    X(stspi_get_storel) X(stspi_get_storel_prop) X(stspi_mount_lsu) X(stspi_open_dynamic_lsu_list) \
    X(stspi_open_lsu) X(stspi_remove_pool_lsu) X(stspi_shutdown_server) X(stspi_unmount_lsu)
// clang-format on

#define NO_FUNCTION
FIRST_TABLE(FOREIGN, NO_FUNCTION)
SECOND_TABLE(FOREIGN)
FOREIGN(stspi_init)
FOREIGN(stspi_init2)
FOREIGN(load_process)

#define SLOT(name) reinterpret_cast<sts_entry_point_t>(name),
#define NULL_SLOT  nullptr,
extern "C" __attribute__((visibility("default"))) sts_entry_point_t STSSanDiskEntryPoints[];
extern "C" __attribute__((visibility("default"))) sts_entry_point_t STSSANDiskEntryPoints2[];
sts_entry_point_t STSSanDiskEntryPoints[] = {FIRST_TABLE(SLOT, NULL_SLOT)};
sts_entry_point_t STSSANDiskEntryPoints2[] = {SECOND_TABLE(SLOT)};
