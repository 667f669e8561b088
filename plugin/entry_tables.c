/* The two tables that the framework calls through.
 *
 * In C, so that the compiler lays them out as data: nothing runs when the library is loaded. Slots without a designator
 * are null.
 */
#include "stspi/stspi.h"

#define SLOT(entry_point) (sts_entry_point_t) entry_point

sts_entry_point_t STSSanDiskEntryPoints[STS_ENTRY_POINT_COUNT] = {
    [STS_SLOT_ASYNC_FLUSH] = SLOT(stspi_async_flush),
    [STS_SLOT_ASYNC_READ_IMAGE] = SLOT(stspi_async_read_image),
    [STS_SLOT_ASYNC_WAIT] = SLOT(stspi_async_wait),
    [STS_SLOT_ASYNC_WRITE_IMAGE] = SLOT(stspi_async_write_image),
    [STS_SLOT_CLAIM] = SLOT(stspi_claim),
    [STS_SLOT_CLOSE_EVCHANNEL] = SLOT(stspi_close_evchannel),
    [STS_SLOT_CLOSE_IMAGE] = SLOT(stspi_close_image),
    [STS_SLOT_CLOSE_IMAGE_LIST] = SLOT(stspi_close_image_list),
    [STS_SLOT_CLOSE_LSU_LIST] = SLOT(stspi_close_lsu_list),
    [STS_SLOT_CLOSE_SERVER] = SLOT(stspi_close_server),
    [STS_SLOT_COPY_EXTENT] = SLOT(stspi_copy_extent),
    [STS_SLOT_CREATE_IMAGE] = SLOT(stspi_create_image),
    [STS_SLOT_DELETE_EVENT] = SLOT(stspi_delete_event),
    [STS_SLOT_DELETE_FILES] = SLOT(stspi_delete_files),
    [STS_SLOT_DELETE_IMAGE] = SLOT(stspi_delete_image),
    [STS_SLOT_GET_IMAGE_GROUP] = SLOT(stspi_get_image_group),
    [STS_SLOT_GET_IMAGE_GROUP_BYNAME] = SLOT(stspi_get_image_group_byname),
    [STS_SLOT_GET_IMAGE_PROP] = SLOT(stspi_get_image_prop),
    [STS_SLOT_GET_IMAGE_PROP_BYNAME] = SLOT(stspi_get_image_prop_byname),
    [STS_SLOT_GET_LSU_PROP_BYNAME] = SLOT(stspi_get_lsu_prop_byname),
    [STS_SLOT_GET_SERVER_PROP] = SLOT(stspi_get_server_prop),
    [STS_SLOT_GET_SERVER_PROP_BYNAME] = SLOT(stspi_get_server_prop_byname),
    [STS_SLOT_INCLUDE_IN_IMAGE] = SLOT(stspi_include_in_image),
    [STS_SLOT_IOCTL] = SLOT(stspi_ioctl),
    [STS_SLOT_LIST_IMAGE] = SLOT(stspi_list_image),
    [STS_SLOT_LIST_LSU] = SLOT(stspi_list_lsu),
    [STS_SLOT_OPEN_EVCHANNEL] = SLOT(stspi_open_evchannel),
    [STS_SLOT_OPEN_LSU_LIST] = SLOT(stspi_open_lsu_list),
    [STS_SLOT_OPEN_SERVER] = SLOT(stspi_open_server),
    [STS_SLOT_OPEN_TARGET_SERVER] = SLOT(stspi_open_target_server),
    [STS_SLOT_OPEN_IMAGE] = SLOT(stspi_open_image),
    [STS_SLOT_OPEN_IMAGE_GROUP_LIST] = SLOT(stspi_open_image_group_list),
    [STS_SLOT_OPEN_IMAGE_LIST] = SLOT(stspi_open_image_list),
    [STS_SLOT_READ_IMAGE] = SLOT(stspi_read_image),
    [STS_SLOT_TERMINATE] = SLOT(stspi_terminate),
    [STS_SLOT_WRITE_IMAGE] = SLOT(stspi_write_image),
};

sts_entry_point_t STSSANDiskEntryPoints2[STS_ENTRY_POINT_COUNT2] = {
    [STS_SLOT2_ACTIVATE_LSU] = SLOT(stspi_activate_lsu),
    [STS_SLOT2_ADD_POOL_LSU] = SLOT(stspi_add_pool_lsu),
    [STS_SLOT2_ALLOC_LSU] = SLOT(stspi_alloc_lsu),
    [STS_SLOT2_CLOSE_LSU] = SLOT(stspi_close_lsu),
    [STS_SLOT2_CREATE_LSU] = SLOT(stspi_create_lsu),
    [STS_SLOT2_CREATE_LSU_WITH_STOREL] = SLOT(stspi_create_lsu_with_storel),
    [STS_SLOT2_CREATE_LSU_WITH_POOL] = SLOT(stspi_create_lsu_with_pool),
    [STS_SLOT2_CREATE_SERVER] = SLOT(stspi_create_server),
    [STS_SLOT2_DEALLOC_LSU] = SLOT(stspi_dealloc_lsu),
    [STS_SLOT2_DELETE_LSU] = SLOT(stspi_delete_lsu),
    [STS_SLOT2_EXTRACT_FILES] = SLOT(stspi_extract_files),
    [STS_SLOT2_GET_HOST] = SLOT(stspi_get_host),
    [STS_SLOT2_GET_LSU_PROP] = SLOT(stspi_get_lsu_prop),
    [STS_SLOT2_GET_POOL_LSU] = SLOT(stspi_get_pool_lsu),
    [STS_SLOT2_GET_STOREL] = SLOT(stspi_get_storel),
    [STS_SLOT2_GET_STOREL_PROP] = SLOT(stspi_get_storel_prop),
    [STS_SLOT2_MOUNT_LSU] = SLOT(stspi_mount_lsu),
    [STS_SLOT2_OPEN_DYNAMIC_LSU_LIST] = SLOT(stspi_open_dynamic_lsu_list),
    [STS_SLOT2_OPEN_LSU] = SLOT(stspi_open_lsu),
    [STS_SLOT2_REMOVE_POOL_LSU] = SLOT(stspi_remove_pool_lsu),
    [STS_SLOT2_SHUTDOWN_SERVER] = SLOT(stspi_shutdown_server),
    [STS_SLOT2_UNMOUNT_LSU] = SLOT(stspi_unmount_lsu),
};

/* The order is the framework's and never changes. */
_Static_assert(STS_SLOT_ASYNC_FLUSH == 0, "slot of stspi_async_flush");
_Static_assert(STS_SLOT_ASYNC_READ_IMAGE == 1, "slot of stspi_async_read_image");
_Static_assert(STS_SLOT_ASYNC_WAIT == 2, "slot of stspi_async_wait");
_Static_assert(STS_SLOT_ASYNC_WRITE_IMAGE == 3, "slot of stspi_async_write_image");
_Static_assert(STS_SLOT_CLAIM == 4, "slot of stspi_claim");
_Static_assert(STS_SLOT_CLOSE_EVCHANNEL == 5, "slot of stspi_close_evchannel");
_Static_assert(STS_SLOT_CLOSE_IMAGE == 6, "slot of stspi_close_image");
_Static_assert(STS_SLOT_CLOSE_IMAGE_LIST == 7, "slot of stspi_close_image_list");
_Static_assert(STS_SLOT_CLOSE_LSU_LIST == 8, "slot of stspi_close_lsu_list");
_Static_assert(STS_SLOT_CLOSE_SERVER == 9, "slot of stspi_close_server");
_Static_assert(STS_SLOT_COPY_EXTENT == 10, "slot of stspi_copy_extent");
_Static_assert(STS_SLOT_CREATE_IMAGE == 11, "slot of stspi_create_image");
_Static_assert(STS_SLOT_DELETE_EVENT == 12, "slot of stspi_delete_event");
_Static_assert(STS_SLOT_DELETE_FILES == 13, "slot of stspi_delete_files");
_Static_assert(STS_SLOT_DELETE_IMAGE == 14, "slot of stspi_delete_image");
_Static_assert(STS_SLOT_GET_IMAGE_GROUP == 16, "slot of stspi_get_image_group");
_Static_assert(STS_SLOT_GET_IMAGE_GROUP_BYNAME == 17, "slot of stspi_get_image_group_byname");
_Static_assert(STS_SLOT_GET_IMAGE_PROP == 18, "slot of stspi_get_image_prop");
_Static_assert(STS_SLOT_GET_IMAGE_PROP_BYNAME == 19, "slot of stspi_get_image_prop_byname");
_Static_assert(STS_SLOT_GET_LSU_PROP_BYNAME == 20, "slot of stspi_get_lsu_prop_byname");
_Static_assert(STS_SLOT_GET_SERVER_PROP == 21, "slot of stspi_get_server_prop");
_Static_assert(STS_SLOT_GET_SERVER_PROP_BYNAME == 22, "slot of stspi_get_server_prop_byname");
_Static_assert(STS_SLOT_INCLUDE_IN_IMAGE == 23, "slot of stspi_include_in_image");
_Static_assert(STS_SLOT_IOCTL == 24, "slot of stspi_ioctl");
_Static_assert(STS_SLOT_LIST_IMAGE == 25, "slot of stspi_list_image");
_Static_assert(STS_SLOT_LIST_LSU == 26, "slot of stspi_list_lsu");
_Static_assert(STS_SLOT_OPEN_EVCHANNEL == 27, "slot of stspi_open_evchannel");
_Static_assert(STS_SLOT_OPEN_LSU_LIST == 28, "slot of stspi_open_lsu_list");
_Static_assert(STS_SLOT_OPEN_SERVER == 29, "slot of stspi_open_server");
_Static_assert(STS_SLOT_OPEN_TARGET_SERVER == 30, "slot of stspi_open_target_server");
_Static_assert(STS_SLOT_OPEN_IMAGE == 31, "slot of stspi_open_image");
_Static_assert(STS_SLOT_OPEN_IMAGE_GROUP_LIST == 32, "slot of stspi_open_image_group_list");
_Static_assert(STS_SLOT_OPEN_IMAGE_LIST == 33, "slot of stspi_open_image_list");
_Static_assert(STS_SLOT_READ_IMAGE == 34, "slot of stspi_read_image");
_Static_assert(STS_SLOT_TERMINATE == 35, "slot of stspi_terminate");
_Static_assert(STS_SLOT_WRITE_IMAGE == 36, "slot of stspi_write_image");
_Static_assert(sizeof STSSanDiskEntryPoints == 41 * sizeof(void *), "41 slots");
_Static_assert(STS_SLOT2_ACTIVATE_LSU == 0, "slot of stspi_activate_lsu");
_Static_assert(STS_SLOT2_ADD_POOL_LSU == 1, "slot of stspi_add_pool_lsu");
_Static_assert(STS_SLOT2_ALLOC_LSU == 2, "slot of stspi_alloc_lsu");
_Static_assert(STS_SLOT2_CLOSE_LSU == 3, "slot of stspi_close_lsu");
_Static_assert(STS_SLOT2_CREATE_LSU == 4, "slot of stspi_create_lsu");
_Static_assert(STS_SLOT2_CREATE_LSU_WITH_STOREL == 5, "slot of stspi_create_lsu_with_storel");
_Static_assert(STS_SLOT2_CREATE_LSU_WITH_POOL == 6, "slot of stspi_create_lsu_with_pool");
_Static_assert(STS_SLOT2_CREATE_SERVER == 7, "slot of stspi_create_server");
_Static_assert(STS_SLOT2_DEALLOC_LSU == 8, "slot of stspi_dealloc_lsu");
_Static_assert(STS_SLOT2_DELETE_LSU == 9, "slot of stspi_delete_lsu");
_Static_assert(STS_SLOT2_EXTRACT_FILES == 10, "slot of stspi_extract_files");
_Static_assert(STS_SLOT2_GET_HOST == 11, "slot of stspi_get_host");
_Static_assert(STS_SLOT2_GET_LSU_PROP == 12, "slot of stspi_get_lsu_prop");
_Static_assert(STS_SLOT2_GET_POOL_LSU == 13, "slot of stspi_get_pool_lsu");
_Static_assert(STS_SLOT2_GET_STOREL == 14, "slot of stspi_get_storel");
_Static_assert(STS_SLOT2_GET_STOREL_PROP == 15, "slot of stspi_get_storel_prop");
_Static_assert(STS_SLOT2_MOUNT_LSU == 16, "slot of stspi_mount_lsu");
_Static_assert(STS_SLOT2_OPEN_DYNAMIC_LSU_LIST == 17, "slot of stspi_open_dynamic_lsu_list");
_Static_assert(STS_SLOT2_OPEN_LSU == 18, "slot of stspi_open_lsu");
_Static_assert(STS_SLOT2_REMOVE_POOL_LSU == 19, "slot of stspi_remove_pool_lsu");
_Static_assert(STS_SLOT2_SHUTDOWN_SERVER == 20, "slot of stspi_shutdown_server");
_Static_assert(STS_SLOT2_UNMOUNT_LSU == 21, "slot of stspi_unmount_lsu");
_Static_assert(sizeof STSSANDiskEntryPoints2 == 22 * sizeof(void *), "22 slots");
