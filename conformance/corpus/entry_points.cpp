#include "entry_points.h"

#include <cstdlib>
#include <map>
#include <mutex>

namespace broken {

namespace {

std::mutex mutex;
std::map<sts_server_handle_t, OpenServer> servers;

}  // namespace

void remember_server(sts_server_handle_t handle, const OpenServer &server) {
    const std::lock_guard lock(mutex);
    servers[handle] = server;
}

OpenServer server_of(sts_server_handle_t handle) {
    const std::lock_guard lock(mutex);
    const auto found = servers.find(handle);
    return found == servers.end() ? OpenServer{} : found->second;
}

void forget_server(sts_server_handle_t handle) {
    const std::lock_guard lock(mutex);
    servers.erase(handle);
}

void leak() {
    // The compiler may drop an allocation whose result nobody uses.
    void *lost = std::malloc(48);
    asm volatile("" : : "r"(lost) : "memory");
}

}  // namespace broken
