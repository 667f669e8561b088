// The plug-in's two tables, slot by slot with their types.
#pragma once

#include "stspi/stspi.h"

// X(name, slot) for every slot that simhost calls.
#define SIMHOST_ENTRY_POINTS(X)                                \
    X(claim, STS_SLOT_CLAIM)                                   \
    X(close_image, STS_SLOT_CLOSE_IMAGE)                       \
    X(close_image_list, STS_SLOT_CLOSE_IMAGE_LIST)             \
    X(close_lsu_list, STS_SLOT_CLOSE_LSU_LIST)                 \
    X(close_server, STS_SLOT_CLOSE_SERVER)                     \
    X(copy_extent, STS_SLOT_COPY_EXTENT)                       \
    X(create_image, STS_SLOT_CREATE_IMAGE)                     \
    X(delete_image, STS_SLOT_DELETE_IMAGE)                     \
    X(get_image_prop_byname, STS_SLOT_GET_IMAGE_PROP_BYNAME)   \
    X(get_lsu_prop_byname, STS_SLOT_GET_LSU_PROP_BYNAME)       \
    X(get_server_prop, STS_SLOT_GET_SERVER_PROP)               \
    X(get_server_prop_byname, STS_SLOT_GET_SERVER_PROP_BYNAME) \
    X(list_image, STS_SLOT_LIST_IMAGE)                         \
    X(list_lsu, STS_SLOT_LIST_LSU)                             \
    X(open_image, STS_SLOT_OPEN_IMAGE)                         \
    X(open_image_list, STS_SLOT_OPEN_IMAGE_LIST)               \
    X(open_lsu_list, STS_SLOT_OPEN_LSU_LIST)                   \
    X(open_server, STS_SLOT_OPEN_SERVER)                       \
    X(open_target_server, STS_SLOT_OPEN_TARGET_SERVER)         \
    X(read_image, STS_SLOT_READ_IMAGE)                         \
    X(terminate, STS_SLOT_TERMINATE)                           \
    X(write_image, STS_SLOT_WRITE_IMAGE)

#define SIMHOST_ENTRY_POINTS2(X)                              \
    X(create_server, STS_SLOT2_CREATE_SERVER)                 \
    X(mount_lsu, STS_SLOT2_MOUNT_LSU)                         \
    X(open_dynamic_lsu_list, STS_SLOT2_OPEN_DYNAMIC_LSU_LIST) \
    X(unmount_lsu, STS_SLOT2_UNMOUNT_LSU)

// The types come from the declarations; nothing links to the plug-in.
struct EntryPoints {
// NOLINTNEXTLINE(bugprone-macro-parentheses): the name that is declared
#define SIMHOST_MEMBER(name, slot) decltype(&stspi_##name) name = nullptr;
    SIMHOST_ENTRY_POINTS(SIMHOST_MEMBER)
    SIMHOST_ENTRY_POINTS2(SIMHOST_MEMBER)
#undef SIMHOST_MEMBER
};

// Binds all slots. Throws BadAnswer, naming the slot, for a null table and for a slot that is null.
EntryPoints bind_entry_points(const sts_entry_point_t *table, const sts_entry_point_t *table2);
