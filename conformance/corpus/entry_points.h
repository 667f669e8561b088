// How a broken entry point reaches the real one.
#pragma once

#include <thread>

#include "broken_log.h"
#include "real_plugin.h"
#include "stspi/stspi.h"

namespace broken {

// The real entry point, with all sessions up to date.
template <typename Function>
Function *call_real(const char *name) {
    refresh_shadows();
    return real<Function>(name);
}

// What the wrapper knows about an open handle.
struct OpenServer {
    const sts_session_def_v7_t *session = nullptr;  // the framework's
    char name[600] = "";
    bool is_created = false;
    std::thread::id thread = std::this_thread::get_id();  // that opened it
};

void remember_server(sts_server_handle_t handle, const OpenServer &server);
OpenServer server_of(sts_server_handle_t handle);
void forget_server(sts_server_handle_t handle);
// Those that are open go with their server.
void forget_lists_of(sts_server_handle_t server);

// Arrays behind lists of pools that are released with their server's handle.
void keep_pool_array(sts_server_handle_t handle);
void free_pool_arrays(sts_server_handle_t handle);

// Loses a few bytes of memory.
void leak();

}  // namespace broken

// An entry point NAME of the interface, with REAL as the real one inside its body.
#define BROKEN_ENTRY_POINT(name, ...) extern "C" __attribute__((visibility("default"))) int32_t name(__VA_ARGS__)
#define REAL(name)                    (*::broken::call_real<decltype(name)>(#name))
