#include "stspi/stspi.h"

// The framework's API has slots for all of these; the simulated servers offer none of them.
#define NOT_SUPPORTED(operation) \
    int32_t stspi_##operation(void) { return STS_E_NOT_SUPPORTED; }

NOT_SUPPORTED(async_flush)
NOT_SUPPORTED(async_read_image)
NOT_SUPPORTED(async_wait)
NOT_SUPPORTED(async_write_image)
NOT_SUPPORTED(close_evchannel)
NOT_SUPPORTED(delete_event)
NOT_SUPPORTED(delete_files)
NOT_SUPPORTED(get_image_group)
NOT_SUPPORTED(get_image_group_byname)
NOT_SUPPORTED(open_evchannel)
NOT_SUPPORTED(open_image_group_list)
NOT_SUPPORTED(activate_lsu)
NOT_SUPPORTED(add_pool_lsu)
NOT_SUPPORTED(alloc_lsu)
NOT_SUPPORTED(close_lsu)
NOT_SUPPORTED(create_lsu)
NOT_SUPPORTED(create_lsu_with_storel)
NOT_SUPPORTED(create_lsu_with_pool)
NOT_SUPPORTED(dealloc_lsu)
NOT_SUPPORTED(delete_lsu)
NOT_SUPPORTED(extract_files)
NOT_SUPPORTED(get_host)
NOT_SUPPORTED(get_lsu_prop)
NOT_SUPPORTED(get_pool_lsu)
NOT_SUPPORTED(get_storel)
NOT_SUPPORTED(get_storel_prop)
NOT_SUPPORTED(open_lsu)
NOT_SUPPORTED(remove_pool_lsu)
NOT_SUPPORTED(shutdown_server)

// Unmounting is always reported as done: the framework's clean-up must not fail on a simulated mount.
int32_t stspi_unmount_lsu(void) { return 0; }
