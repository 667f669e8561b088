/* Every function that a plug-in exports, once, in the order of the two tables. The assembler reads this file too.
 *
 * X(name) for each one.
 */
#ifndef FILTER_EXPORTED_FUNCTIONS_H
#define FILTER_EXPORTED_FUNCTIONS_H

#define FILTER_EXPORTED_FUNCTIONS(X) \
    X(stspi_async_flush)             \
    X(stspi_async_read_image)        \
    X(stspi_async_wait)              \
    X(stspi_async_write_image)       \
    X(stspi_claim)                   \
    X(stspi_close_evchannel)         \
    X(stspi_close_image)             \
    X(stspi_close_image_list)        \
    X(stspi_close_lsu_list)          \
    X(stspi_close_server)            \
    X(stspi_copy_extent)             \
    X(stspi_create_image)            \
    X(stspi_delete_event)            \
    X(stspi_delete_files)            \
    X(stspi_delete_image)            \
    X(stspi_get_image_group)         \
    X(stspi_get_image_group_byname)  \
    X(stspi_get_image_prop)          \
    X(stspi_get_image_prop_byname)   \
    X(stspi_get_lsu_prop_byname)     \
    X(stspi_get_server_prop)         \
    X(stspi_get_server_prop_byname)  \
    X(stspi_include_in_image)        \
    X(stspi_ioctl)                   \
    X(stspi_list_image)              \
    X(stspi_list_lsu)                \
    X(stspi_open_evchannel)          \
    X(stspi_open_lsu_list)           \
    X(stspi_open_server)             \
    X(stspi_open_target_server)      \
    X(stspi_open_image)              \
    X(stspi_open_image_group_list)   \
    X(stspi_open_image_list)         \
    X(stspi_read_image)              \
    X(stspi_terminate)               \
    X(stspi_write_image)             \
    X(stspi_activate_lsu)            \
    X(stspi_add_pool_lsu)            \
    X(stspi_alloc_lsu)               \
    X(stspi_close_lsu)               \
    X(stspi_create_lsu)              \
    X(stspi_create_lsu_with_storel)  \
    X(stspi_create_lsu_with_pool)    \
    X(stspi_create_server)           \
    X(stspi_dealloc_lsu)             \
    X(stspi_delete_lsu)              \
    X(stspi_extract_files)           \
    X(stspi_get_host)                \
    X(stspi_get_lsu_prop)            \
    X(stspi_get_pool_lsu)            \
    X(stspi_get_storel)              \
    X(stspi_get_storel_prop)         \
    X(stspi_mount_lsu)               \
    X(stspi_open_dynamic_lsu_list)   \
    X(stspi_open_lsu)                \
    X(stspi_remove_pool_lsu)         \
    X(stspi_shutdown_server)         \
    X(stspi_unmount_lsu)             \
    X(stspi_init)                    \
    X(stspi_init2)                   \
    X(load_process)

#endif
