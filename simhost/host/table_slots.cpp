#include "simhost/host/table_slots.h"

namespace {

std::array<const char *, STS_ENTRY_POINT_COUNT> name_first_table() {
    std::array<const char *, STS_ENTRY_POINT_COUNT> names = {};
    names[STS_SLOT_ASYNC_FLUSH] = "stspi_async_flush";
    names[STS_SLOT_ASYNC_READ_IMAGE] = "stspi_async_read_image";
    names[STS_SLOT_ASYNC_WAIT] = "stspi_async_wait";
    names[STS_SLOT_ASYNC_WRITE_IMAGE] = "stspi_async_write_image";
    names[STS_SLOT_CLAIM] = "stspi_claim";
    names[STS_SLOT_CLOSE_EVCHANNEL] = "stspi_close_evchannel";
    names[STS_SLOT_CLOSE_IMAGE] = "stspi_close_image";
    names[STS_SLOT_CLOSE_IMAGE_LIST] = "stspi_close_image_list";
    names[STS_SLOT_CLOSE_LSU_LIST] = "stspi_close_lsu_list";
    names[STS_SLOT_CLOSE_SERVER] = "stspi_close_server";
    names[STS_SLOT_COPY_EXTENT] = "stspi_copy_extent";
    names[STS_SLOT_CREATE_IMAGE] = "stspi_create_image";
    names[STS_SLOT_DELETE_EVENT] = "stspi_delete_event";
    names[STS_SLOT_DELETE_FILES] = "stspi_delete_files";
    names[STS_SLOT_DELETE_IMAGE] = "stspi_delete_image";
    names[STS_SLOT_GET_IMAGE_GROUP] = "stspi_get_image_group";
    names[STS_SLOT_GET_IMAGE_GROUP_BYNAME] = "stspi_get_image_group_byname";
    names[STS_SLOT_GET_IMAGE_PROP] = "stspi_get_image_prop";
    names[STS_SLOT_GET_IMAGE_PROP_BYNAME] = "stspi_get_image_prop_byname";
    names[STS_SLOT_GET_LSU_PROP_BYNAME] = "stspi_get_lsu_prop_byname";
    names[STS_SLOT_GET_SERVER_PROP] = "stspi_get_server_prop";
    names[STS_SLOT_GET_SERVER_PROP_BYNAME] = "stspi_get_server_prop_byname";
    names[STS_SLOT_INCLUDE_IN_IMAGE] = "stspi_include_in_image";
    names[STS_SLOT_IOCTL] = "stspi_ioctl";
    names[STS_SLOT_LIST_IMAGE] = "stspi_list_image";
    names[STS_SLOT_LIST_LSU] = "stspi_list_lsu";
    names[STS_SLOT_OPEN_EVCHANNEL] = "stspi_open_evchannel";
    names[STS_SLOT_OPEN_LSU_LIST] = "stspi_open_lsu_list";
    names[STS_SLOT_OPEN_SERVER] = "stspi_open_server";
    names[STS_SLOT_OPEN_TARGET_SERVER] = "stspi_open_target_server";
    names[STS_SLOT_OPEN_IMAGE] = "stspi_open_image";
    names[STS_SLOT_OPEN_IMAGE_GROUP_LIST] = "stspi_open_image_group_list";
    names[STS_SLOT_OPEN_IMAGE_LIST] = "stspi_open_image_list";
    names[STS_SLOT_READ_IMAGE] = "stspi_read_image";
    names[STS_SLOT_TERMINATE] = "stspi_terminate";
    names[STS_SLOT_WRITE_IMAGE] = "stspi_write_image";
    return names;
}

std::array<const char *, STS_ENTRY_POINT_COUNT2> name_second_table() {
    std::array<const char *, STS_ENTRY_POINT_COUNT2> names = {};
    names[STS_SLOT2_ACTIVATE_LSU] = "stspi_activate_lsu";
    names[STS_SLOT2_ADD_POOL_LSU] = "stspi_add_pool_lsu";
    names[STS_SLOT2_ALLOC_LSU] = "stspi_alloc_lsu";
    names[STS_SLOT2_CLOSE_LSU] = "stspi_close_lsu";
    names[STS_SLOT2_CREATE_LSU] = "stspi_create_lsu";
    names[STS_SLOT2_CREATE_LSU_WITH_STOREL] = "stspi_create_lsu_with_storel";
    names[STS_SLOT2_CREATE_LSU_WITH_POOL] = "stspi_create_lsu_with_pool";
    names[STS_SLOT2_CREATE_SERVER] = "stspi_create_server";
    names[STS_SLOT2_DEALLOC_LSU] = "stspi_dealloc_lsu";
    names[STS_SLOT2_DELETE_LSU] = "stspi_delete_lsu";
    names[STS_SLOT2_EXTRACT_FILES] = "stspi_extract_files";
    names[STS_SLOT2_GET_HOST] = "stspi_get_host";
    names[STS_SLOT2_GET_LSU_PROP] = "stspi_get_lsu_prop";
    names[STS_SLOT2_GET_POOL_LSU] = "stspi_get_pool_lsu";
    names[STS_SLOT2_GET_STOREL] = "stspi_get_storel";
    names[STS_SLOT2_GET_STOREL_PROP] = "stspi_get_storel_prop";
    names[STS_SLOT2_MOUNT_LSU] = "stspi_mount_lsu";
    names[STS_SLOT2_OPEN_DYNAMIC_LSU_LIST] = "stspi_open_dynamic_lsu_list";
    names[STS_SLOT2_OPEN_LSU] = "stspi_open_lsu";
    names[STS_SLOT2_REMOVE_POOL_LSU] = "stspi_remove_pool_lsu";
    names[STS_SLOT2_SHUTDOWN_SERVER] = "stspi_shutdown_server";
    names[STS_SLOT2_UNMOUNT_LSU] = "stspi_unmount_lsu";
    return names;
}

}  // namespace

const std::array<const char *, STS_ENTRY_POINT_COUNT> &first_table_names() {
    static const auto names = name_first_table();
    return names;
}

const std::array<const char *, STS_ENTRY_POINT_COUNT2> &second_table_names() {
    static const auto names = name_second_table();
    return names;
}
