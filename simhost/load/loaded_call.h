// The entry points that a load calls.
#pragma once

#include <cstddef>
#include <cstdint>

// X(name) for every one.
#define LOADED_CALLS(X)      \
    X(create_server)         \
    X(open_server)           \
    X(close_server)          \
    X(get_server_prop)       \
    X(open_lsu_list)         \
    X(list_lsu)              \
    X(close_lsu_list)        \
    X(get_lsu_prop_byname)   \
    X(mount_lsu)             \
    X(unmount_lsu)           \
    X(create_image)          \
    X(open_image)            \
    X(write_image)           \
    X(read_image)            \
    X(copy_extent)           \
    X(close_image)           \
    X(delete_image)          \
    X(get_image_prop_byname) \
    X(open_image_list)       \
    X(list_image)            \
    X(close_image_list)

enum class LoadedCall : uint8_t {
#define LOADED_ENUMERATOR(name) name,
    LOADED_CALLS(LOADED_ENUMERATOR)
#undef LOADED_ENUMERATOR
        count
};
constexpr size_t loaded_calls = static_cast<size_t>(LoadedCall::count);

// "stspi_open_image".
const char *loaded_call_name(LoadedCall call);
